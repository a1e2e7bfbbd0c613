#pragma once

#include <QWidget>

#include <functional>

class FlatButton;
class QLabel;

// The confirmation before an image or an archive is made: what will be made where, and
// "Cancel" / "Create Image". It is shown attached to the main window; either button closes it,
// and "Create Image" then calls the accepted action.
class DMGMakeSureWC : public QWidget {
    Q_OBJECT
public:
    explicit DMGMakeSureWC(const QString& text, QWidget* parent = nullptr);

    // Shows the confirmation on the main window; `accepted` runs after "Create Image".
    static DMGMakeSureWC* showOn(QWidget* mainWindow, const QString& text, std::function<void()> accepted);

    QLabel* textLabel() const { return m_text; }
    FlatButton* okButton() const { return m_ok; }
    FlatButton* cancelButton() const { return m_cancel; }
    // Closes it unanswered: the accepted action is not run.
    void closeWindow();

private:
    QLabel* m_text;
    FlatButton* m_ok;
    FlatButton* m_cancel;
    std::function<void()> m_accepted;
};
