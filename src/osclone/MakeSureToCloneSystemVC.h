#pragma once

#include "osclone/CloneQuestionPanel.h"
#include "volumes/VolumeObj.h"

class DriveLossView;

// What the start confirmation tells the OS Clone tab.
class MakeSureToCloneSystemDelegate {
public:
    virtual ~MakeSureToCloneSystemDelegate() = default;
    virtual void beginToCopySystem() {}
};

// The start confirmation: names the drive that will be erased by its model name and size, lists
// what the erase destroys (device, model, bus, capacity, every volume with its used space, the
// data in all), with "Cancel" (closes the popup) and "Clone Now" (closes it, then starts the
// clone). Return presses neither.
class MakeSureToCloneSystemVC : public CloneQuestionPanel {
    Q_OBJECT
public:
    explicit MakeSureToCloneSystemVC(QWidget* parent = nullptr);

    void setDelegate(MakeSureToCloneSystemDelegate* delegate) { m_delegate = delegate; }
    void setDrive(const VolumeObj& disk);
    DriveLossView* lossView() const { return m_loss; }

    void cancelButtonAction();
    void cloneButtonAction();

    FlatButton* cancelButton() const { return quietButton(); }
    FlatButton* cloneButton() const { return mainButton(); }

private:
    MakeSureToCloneSystemDelegate* m_delegate = nullptr;
    DriveLossView* m_loss;
};
