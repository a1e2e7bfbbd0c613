#include "osclone/MakeSureCancelCloneSystemVC.h"

#include "osclone/OsCloneTexts.h"
#include "ui/FlatButton.h"

MakeSureCancelCloneSystemVC::MakeSureCancelCloneSystemVC(QWidget* parent)
    : CloneQuestionPanel(OsCloneTexts::stopTitle(), OsCloneTexts::cancel(), OsCloneTexts::continueButton(),
                         parent) {
    setText(OsCloneTexts::stopBody());
    connect(cancelButton(), &QAbstractButton::clicked, this,
            &MakeSureCancelCloneSystemVC::cancelButtonAction);
    connect(continueButton(), &QAbstractButton::clicked, this,
            &MakeSureCancelCloneSystemVC::continueButtonAction);
}

void MakeSureCancelCloneSystemVC::cancelButtonAction() {
    MakeSureCancelCloneSystemDelegate* delegate = m_delegate;
    closeWindow();
    if (delegate)
        delegate->cancelToCopySystem();
}

void MakeSureCancelCloneSystemVC::continueButtonAction() {
    closeWindow();
}
