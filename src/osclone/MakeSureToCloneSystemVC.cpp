#include "osclone/MakeSureToCloneSystemVC.h"

#include "osclone/OsCloneTexts.h"
#include "ui/FlatButton.h"
#include "volumes/DriveLossView.h"

MakeSureToCloneSystemVC::MakeSureToCloneSystemVC(QWidget* parent)
    : CloneQuestionPanel(OsCloneTexts::confirmTitle(), OsCloneTexts::cancel(), OsCloneTexts::cloneNow(),
                         parent),
      m_loss(new DriveLossView) {
    addDetails(m_loss);
    connect(cancelButton(), &QAbstractButton::clicked, this, &MakeSureToCloneSystemVC::cancelButtonAction);
    connect(cloneButton(), &QAbstractButton::clicked, this, &MakeSureToCloneSystemVC::cloneButtonAction);
}

void MakeSureToCloneSystemVC::setDrive(const VolumeObj& disk) {
    setText(OsCloneTexts::confirmBody(disk.volumeName(), disk.volumeTotalSize()));
    const DriveIdentity& drive = disk.drive();
    // The whole disk is erased: every volume on it goes.
    m_loss->setLoss(drive.isKnown() ? drive.device : QStringLiteral("/dev/") + disk.volumePath(), drive,
                    drive.volumes);
    adjustSize();
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
