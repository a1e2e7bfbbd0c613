#pragma once

#include "osclone/CloneQuestionPanel.h"

// What the cancel confirmation tells the OS Clone tab.
class MakeSureCancelCloneSystemDelegate {
public:
    virtual ~MakeSureCancelCloneSystemDelegate() = default;
    virtual void cancelToCopySystem() {}
};

// The cancel confirmation while a clone runs. Its "Cancel" stops the clone; "Continue" closes
// the popup and lets the clone go on.
class MakeSureCancelCloneSystemVC : public CloneQuestionPanel {
    Q_OBJECT
public:
    explicit MakeSureCancelCloneSystemVC(QWidget* parent = nullptr);

    void setDelegate(MakeSureCancelCloneSystemDelegate* delegate) { m_delegate = delegate; }

    void cancelButtonAction();
    void continueButtonAction();

    FlatButton* cancelButton() const { return quietButton(); }
    FlatButton* continueButton() const { return mainButton(); }

private:
    MakeSureCancelCloneSystemDelegate* m_delegate = nullptr;
};
