#pragma once

#include "ui/MessagePanel.h"

class FlatButton;
class QVBoxLayout;

// A question: a warning mark beside a title, the question, and two buttons at the right, the
// quiet one first. Neither button is a default one, so Return answers nothing; the quiet one
// has the keyboard focus. Subclasses or owners give the buttons their actions.
class QuestionPanel : public MessagePanel {
    Q_OBJECT
public:
    QuestionPanel(const QString& title, const QString& quietButton, const QString& mainButton,
                  QWidget* parent = nullptr);

    // Places a widget under the question, above the buttons.
    void addDetails(QWidget* widget);

    FlatButton* quietButton() const { return m_quiet; }
    FlatButton* mainButton() const { return m_main; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    FlatButton* m_quiet;
    FlatButton* m_main;
    QVBoxLayout* m_details;
};
