#pragma once

#include "diskmanager/FormatTypeDelegate.h"
#include "diskmanager/FormatTypeViewController.h"
#include "ui/AttachedWindow.h"
#include "volumes/DriveIdentity.h"

#include <QPointer>
#include <QWidget>

class BackgroundView;
class DriveLossView;
class ElidedLabel;
class FlatButton;
class ImageView;
class MakeSureFormatDelegate;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

// The format confirmation: "Format '<name>'?", what it does, the new name, the file-system type
// (with its menu) and "Continue" / "Cancel". It is shown in an attached window (superDelegate);
// both buttons tell the delegate and close that window, except that "Continue" with a name the
// delegate refuses keeps it open and says why.
//
// Under its texts it lists what the erase destroys (device, drive, the volume with its used
// space), and under the fields, as the user types or picks a type, the name the volume will
// really get. Neither button is a default one: Return does not format.
//
// The name field becomes editable only once the popup is up. The type of an APFS or NTFS volume
// cannot be changed: its label is dimmed and the type button disabled.
class MakeSureFormatViewController : public QWidget, public FormatTypeDelegate {
    Q_OBJECT
public:
    explicit MakeSureFormatViewController(QWidget* parent = nullptr);
    ~MakeSureFormatViewController() override;

    void setDelegate(MakeSureFormatDelegate* delegate) { m_delegate = delegate; }
    // The attached window hosting this view.
    void setSuperDelegate(QWidget* host) { m_superDelegate = host; }
    QWidget* superDelegate() const { return m_superDelegate; }

    void setName(const QString& name, const QString& type); // setName:setType:
    // What the format destroys: the volume's device, its drive and the volumes that go.
    void setLoss(const QString& device, const DriveIdentity& drive, const QList<DriveVolume>& destroyed);
    DriveLossView* lossView() const { return m_loss; }
    ElidedLabel* nameHintLabel() const { return m_nameHint; }
    void okButtonAction();
    void noButtonAction();
    void openMenuAction();
    void selectFormatbyType(int tag) override;
    void closeWindow();

    // The open type menu, if any.
    FormatTypeViewController* typeMenu() const { return m_menu; }
    // True when the type of this volume cannot be changed.
    bool isTypeLocked() const { return m_typeLocked; }

    QLabel* nameLabel;
    QLabel* nodeLabel;
    QLabel* problemLabel; // why the typed name cannot be used
    QLineEdit* nameTextFiled;
    QLabel* typeLabel;
    QPushButton* typeSelectBut;
    ImageView* openImageV;
    FlatButton* okButton;
    FlatButton* noButton;
    BackgroundView* formatView;
    QWidget* makeSureView;
    QProgressBar* loading;

private:
    void closeMenu();
    void updateNameHint();

    MakeSureFormatDelegate* m_delegate = nullptr;
    QPointer<QWidget> m_superDelegate;
    QPointer<FormatTypeViewController> m_menu;
    QPointer<AttachedWindow> m_menuWindow;
    bool m_typeLocked = false;
    DriveLossView* m_loss;
    ElidedLabel* m_nameHint;
};
