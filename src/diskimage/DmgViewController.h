#pragma once

#include "core/FeatureTab.h"
#include "diskimage/MakeDmg.h"
#include "filecopy/Controller.h"
#include "filecopy/DiskListWC.h"
#include "filecopy/FileNode.h"
#include "ui/Popover.h"
#include "ui/SelectValueViewDelegate.h"
#include "volumes/SelectDiskViewController.h"
#include "volumes/VolumeObj.h"

#include <QPointer>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <memory>

class DMGMakeSureWC;
class FlatButton;
class QComboBox;
class QLabel;
class QRadioButton;
class QStackedWidget;
class QTimer;
class SelectValueView;
class SetpViewController;
class StripedProgressBar;
class TransferProgress;

// The "Disk Image Create" tab. The user fills the source slot with a volume (or drops files on
// it), may narrow the selection to some files, fills the destination slot, chooses a disk
// image or a zip archive and confirms; the tab then shows the builder's progress until the
// success or the failure view. Tab switching is locked while the builder works. Cancel shows a
// stopping state until the builder has cleaned up (tools ended, image ejected, partial file
// removed), then the stopped view.
//
// Sizes of -1 are unknown. All of it runs on the main thread; the builder and the listing call
// back there.
class DmgViewController : public QWidget,
                          public SelectValueViewDelegate,
                          public SelectDiskVCDelegate,
                          public MakeDmgDelegate,
                          public ControllerDelegate,
                          public DiskListWCDelegate,
                          public FeatureTab {
    Q_OBJECT
public:
    explicit DmgViewController(QWidget* parent = nullptr);
    ~DmgViewController() override;

    // FeatureTab: an image runs from the confirmation until its end view shows.
    Job runningJob() const override { return m_working || m_stopping ? Job::Image : Job::None; }
    void stopForQuit(std::function<void()> stopped) override;
    // Cancel was pressed and the builder is still cleaning up.
    bool isStopping() const { return m_stopping; }

    // SelectValueViewDelegate
    void selectDiskButton(int slot, QObject* sender) override;
    void closeDiskValue(int slot) override;
    void viewDragAction(const QStringList& paths) override;
    // SelectDiskVCDelegate
    void doSelectDiskWithVolume(const VolumeObjRef& volume) override;
    // DiskListWCDelegate: the file list window's answer, the ticked tree and its bytes.
    void closeWindowWithSelect(const FileNodeArrayRef& select, qint64 selectSize) override;

    void changeSelectCopyType();
    void changeCloneButtonActon();
    void makeZipButAction();
    void makeDmgButAction();
    void cloneButtonAction();
    void doMakeZip();
    void beginToMakeDMGorZIP();
    void cancelButtonAction();
    void backHomeView();
    void openPathButtonAction();

    // MakeDmgDelegate
    void copyFileToDmgWithFileName(const QString& text, float progress) override;
    void makeDmgFailWithError(const MakeDmgFailure& failure) override;
    void beginToCopyDmg() override;
    void makeDmgDidStop() override;
    void makeDmgBytes(std::int64_t bytesDone, std::int64_t bytesToDo) override;
    // ControllerDelegate: a copy-all listing of the source volume is complete.
    void endScanFiles() override;

    // "Tavrill(<date and time>)" for a result in the folder, named as the copy folder is: the
    // time's colons become dots on a file system that refuses them (most USB sticks).
    static QString getCreateName(const QString& folder);
    // Where a result goes for a destination volume path: the Desktop on "/" from 10.15 on.
    static QString destinationFolder(const QString& volumePath);

    // What the tab shows, for its owner and its tests.
    SelectValueView* fromSlot() const { return m_fromSlot; }
    SelectValueView* toSlot() const { return m_toSlot; }
    QComboBox* copyTypeBox() const { return m_copyType; }
    QRadioButton* dmgButton() const { return m_dmgButton; }
    QRadioButton* zipButton() const { return m_zipButton; }
    FlatButton* createButton() const { return m_createButton; }
    FlatButton* cancelButton() const { return m_cancelButton; }
    FlatButton* doneButton() const { return m_doneButton; }
    FlatButton* failBackButton() const { return m_failBackButton; }
    QLabel* pathLabel() const { return m_pathLabel; }
    QLabel* openLabel() const { return m_openLabel; }
    QLabel* errorLabel() const { return m_errorLabel; }
    StripedProgressBar* progressBar() const { return m_progressBar; }
    // Bytes, rate and time left, under the bar.
    QLabel* progressLine() const { return m_progressLine; }
    SetpViewController* stepView() const { return m_step; }
    QWidget* selectView() const { return m_selectView; }
    QWidget* progressView() const { return m_progressView; }
    QWidget* successView() const { return m_successView; }
    QWidget* failView() const { return m_failView; }
    Popover* pickerPopover() const { return m_popover; }
    DiskListWC* fileListWindow() const { return m_listWindow; }
    MakeDmg* makeDmg() const { return m_makeDmg; }
    bool isMakeZip() const { return m_isMakeZip; }
    qint64 usedSize() const { return m_usedSize; }
    qint64 freeSize() const { return m_freeSize; }
    qint64 selectFilesSize() const { return m_selectFilesSize; }
    QString openUrl() const { return m_openUrl; }

private:
    void buildSelectView();
    void dropQuestion();
    void buildProgressView();
    void buildEndView();
    void showErrorWindowWithErrorStr(const QString& text);
    void doShowSearchView();
    void showSourceVolume();
    void changePathValue(const QString& text, float value);
    void showFailView(const QString& text);
    void showFaile(bool failed);
    void setOpenLabel();
    void doMakeZipWithFileArr();
    void doMakeDMGWithFileArr();
    void allCopyFilesSize(qint64 size);
    void lockTabs(bool locked);
    void setCopyType(int index);
    void showStopped();
    void endStopping();
    void notifyStoppedForQuit();

    // Selection
    VolumeObjRef m_fromeVolume;
    VolumeObjRef m_toVolume;
    qint64 m_usedSize = -1;
    qint64 m_freeSize = -1;
    qint64 m_selectFilesSize = -1;
    FileNodeArrayRef m_filesArr;
    QStringList m_zipFilesArr;
    bool m_isMakeZip = false;
    bool m_isDragValue = false;
    int m_openPopType = 0;
    QString m_openUrl;
    bool m_working = false;  // from the confirmation until the end view
    bool m_stopping = false; // from Cancel until the builder has cleaned up
    std::function<void()> m_stoppedForQuit;

    MakeDmg* m_makeDmg;
    std::unique_ptr<Controller> m_controller;
    int m_sizeGeneration = 0; // a measurement of the selection answers only its own run
    QTimer* m_aTimer;
    QPointer<Popover> m_popover;
    QPointer<DiskListWC> m_listWindow;
    QPointer<DMGMakeSureWC> m_makeSure;

    SetpViewController* m_step;
    QStackedWidget* m_pages;
    QWidget* m_selectView;
    SelectValueView* m_fromSlot;
    SelectValueView* m_toSlot;
    QComboBox* m_copyType;
    QRadioButton* m_dmgButton;
    QRadioButton* m_zipButton;
    FlatButton* m_createButton;
    QWidget* m_progressView;
    QLabel* m_pathLabel;
    StripedProgressBar* m_progressBar;
    QLabel* m_progressLine;
    TransferProgress* m_transfer;
    FlatButton* m_cancelButton;
    QWidget* m_endView;
    QWidget* m_successView;
    QLabel* m_openLabel;
    FlatButton* m_doneButton;
    QWidget* m_failView;
    QLabel* m_errorLabel;
    FlatButton* m_failBackButton;
};
