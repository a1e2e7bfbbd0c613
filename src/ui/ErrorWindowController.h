#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

class AttachedWindow;
class FlatButton;
class ImageView;
class QLabel;

// The one-message popup of the tabs: a warning mark, the message exactly as it is given and a
// "Done" button that closes the popup. It is shown as a panel attached to the main window, at
// the middle of its top edge.
class ErrorWindowController : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 340;
    // Distance of the popup below the top edge of the main window, as the other popups.
    static constexpr int kDistance = 5;

    explicit ErrorWindowController(QWidget* parent = nullptr);

    // Makes a popup showing text and attaches it to the main window. The popup deletes itself
    // when it is closed.
    static ErrorWindowController* showErrorOn(QWidget* mainWindow, const QString& text);
    // Attaches this popup to the main window (it is then owned by the attached window).
    AttachedWindow* attachTo(QWidget* mainWindow);

    void changeErrorLabelStr(const QString& text);
    QString errorText() const;
    QLabel* errorLabel() const { return m_label; }
    FlatButton* doneButton() const { return m_done; }
    // The attached window hosting the popup, or null when it is not shown.
    AttachedWindow* superDelegate() const { return m_host; }
    // Closes the hosting attached window ("Done").
    void closeWindow();

Q_SIGNALS:
    void closed();

private:
    ImageView* m_icon;
    QLabel* m_label;
    FlatButton* m_done;
    QPointer<AttachedWindow> m_host;
};
