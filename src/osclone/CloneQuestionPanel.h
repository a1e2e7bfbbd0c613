#pragma once

#include "ui/MessagePanel.h"

class FlatButton;

// The OS Clone tab's questions: a warning mark beside a title, the question, and two buttons at
// the right, the quiet one first. The subclasses give the buttons their actions.
class CloneQuestionPanel : public MessagePanel {
    Q_OBJECT
public:
    CloneQuestionPanel(const QString& title, const QString& quietButton, const QString& mainButton,
                       QWidget* parent = nullptr);

protected:
    FlatButton* quietButton() const { return m_quiet; }
    FlatButton* mainButton() const { return m_main; }

private:
    FlatButton* m_quiet;
    FlatButton* m_main;
};
