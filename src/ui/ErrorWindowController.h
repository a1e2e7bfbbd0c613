#pragma once

#include "ui/MessagePanel.h"

#include <QString>

class AttachedWindow;
class FlatButton;
class QLabel;

// The one-message popup of the tabs: a warning mark, the message exactly as it is given and a
// "Done" button that closes the popup. It is shown as a panel attached to the main window, at
// the middle of its top edge.
class ErrorWindowController : public MessagePanel {
    Q_OBJECT
public:
    // Distance of the popup below the top edge of the main window, as the other popups.
    static constexpr int kDistance = 5;

    explicit ErrorWindowController(QWidget* parent = nullptr);

    // Makes a popup showing text and attaches it to the main window. The popup deletes itself
    // when it is closed.
    static ErrorWindowController* showErrorOn(QWidget* mainWindow, const QString& text);
    // Attaches this popup to the main window (it is then owned by the attached window).
    AttachedWindow* attachTo(QWidget* mainWindow);

    void changeErrorLabelStr(const QString& text) { setText(text); }
    QString errorText() const { return text(); }
    QLabel* errorLabel() const { return textLabel(); }
    FlatButton* doneButton() const { return button(); }
};
