#pragma once

#include "ui/MessagePanel.h"

class FlatButton;

// What the start confirmation tells the OS Clone tab.
class MakeSureToCloneSystemDelegate {
public:
    virtual ~MakeSureToCloneSystemDelegate() = default;
    virtual void beginToCopySystem() {}
};

// The start confirmation: names the drive that will be erased by its model name and size, with
// "Cancel" (closes the popup) and "Clone Now" (closes it, then starts the clone).
class MakeSureToCloneSystemVC : public MessagePanel {
    Q_OBJECT
public:
    explicit MakeSureToCloneSystemVC(QWidget* parent = nullptr);

    void setDelegate(MakeSureToCloneSystemDelegate* delegate) { m_delegate = delegate; }
    void setDrive(const QString& modelName, const QString& sizeText);

    void cancelButtonAction();
    void cloneButtonAction();

    FlatButton* cancelButton() const { return m_cancel; }
    FlatButton* cloneButton() const { return m_clone; }

private:
    MakeSureToCloneSystemDelegate* m_delegate = nullptr;
    FlatButton* m_cancel;
    FlatButton* m_clone;
};
