#pragma once

#include "osclone/CloneQuestionPanel.h"

// What the start confirmation tells the OS Clone tab.
class MakeSureToCloneSystemDelegate {
public:
    virtual ~MakeSureToCloneSystemDelegate() = default;
    virtual void beginToCopySystem() {}
};

// The start confirmation: names the drive that will be erased by its model name and size, with
// "Cancel" (closes the popup) and "Clone Now" (closes it, then starts the clone).
class MakeSureToCloneSystemVC : public CloneQuestionPanel {
    Q_OBJECT
public:
    explicit MakeSureToCloneSystemVC(QWidget* parent = nullptr);

    void setDelegate(MakeSureToCloneSystemDelegate* delegate) { m_delegate = delegate; }
    void setDrive(const QString& modelName, const QString& sizeText);

    void cancelButtonAction();
    void cloneButtonAction();

    FlatButton* cancelButton() const { return quietButton(); }
    FlatButton* cloneButton() const { return mainButton(); }

private:
    MakeSureToCloneSystemDelegate* m_delegate = nullptr;
};
