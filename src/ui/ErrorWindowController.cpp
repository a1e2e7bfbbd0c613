#include "ui/ErrorWindowController.h"

#include "ui/AttachedWindow.h"
#include "ui/FlatButton.h"

#include <QLabel>

ErrorWindowController::ErrorWindowController(QWidget* parent)
    : MessagePanel(Arrangement::Centred, QStringLiteral("ic_warning"), QString(), parent) {
    setObjectName(QStringLiteral("ErrorWindowController"));
    errorLabel()->setObjectName(QStringLiteral("errorLabel"));
    addButton(QStringLiteral("Done"))->setObjectName(QStringLiteral("doneButton"));
}

ErrorWindowController* ErrorWindowController::showErrorOn(QWidget* mainWindow, const QString& text) {
    auto* popup = new ErrorWindowController;
    popup->changeErrorLabelStr(text);
    popup->attachTo(mainWindow);
    return popup;
}

AttachedWindow* ErrorWindowController::attachTo(QWidget* mainWindow) {
    if (superDelegate())
        return superDelegate();
    setSuperDelegate(new AttachedWindow(this, AttachedWindow::middleTop(mainWindow), mainWindow, kDistance));
    doneButton()->setFocus();
    return superDelegate();
}
