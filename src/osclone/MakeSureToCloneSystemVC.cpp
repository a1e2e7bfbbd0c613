#include "osclone/MakeSureToCloneSystemVC.h"

#include "osclone/OsCloneTexts.h"
#include "ui/FlatButton.h"

MakeSureToCloneSystemVC::MakeSureToCloneSystemVC(QWidget* parent)
    : CloneQuestionPanel(OsCloneTexts::confirmTitle(), OsCloneTexts::cancel(), OsCloneTexts::cloneNow(),
                         parent) {
    connect(cancelButton(), &QAbstractButton::clicked, this, &MakeSureToCloneSystemVC::cancelButtonAction);
    connect(cloneButton(), &QAbstractButton::clicked, this, &MakeSureToCloneSystemVC::cloneButtonAction);
}

void MakeSureToCloneSystemVC::setDrive(const QString& modelName, const QString& sizeText) {
    setText(OsCloneTexts::confirmBody(modelName, sizeText));
}

void MakeSureToCloneSystemVC::cancelButtonAction() {
    closeWindow();
}

void MakeSureToCloneSystemVC::cloneButtonAction() {
    MakeSureToCloneSystemDelegate* delegate = m_delegate;
    closeWindow();
    if (delegate)
        delegate->beginToCopySystem();
}
