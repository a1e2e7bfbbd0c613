#pragma once

#include "core/FeatureTab.h"
#include "filecopy/Controller.h"
#include "filecopy/CopyMakeSureWC.h"
#include "filecopy/DestinationCheck.h"
#include "filecopy/DiskListWC.h"
#include "filecopy/DoCopyFiles.h"
#include "filecopy/SelectAllFilePopVC.h"
#include "filecopy/SourceSlot.h"
#include "ui/SelectValueViewDelegate.h"
#include "volumes/SelectDiskViewController.h"
#include "volumes/VolumeObj.h"

#include <QPointer>
#include <QString>
#include <QWidget>

#include <atomic>
#include <cstdint>
#include <memory>

class AttachedWindow;
class FlatButton;
class ImageView;
class Popover;
class QLabel;
class QListWidget;
class QPushButton;
class QTimer;
class SelectValueView;
class SetpViewController;
class StripedProgressBar;
class TransferProgress;

// The "Disk Copy" tab: a source slot (a volume, or files dropped onto it) and a destination slot
// (a volume), the copy type ("Copy All Files" or "Copy Some Files", the latter through the file
// list window), the space check, a confirmation that lists what the destination cannot store,
// the copy into a new dated folder on the destination with its progress, and the end views.
//
// The screen owns its copy run only through a shared engine: closing the screen (or quitting)
// aborts the run, and nothing reaches the screen afterwards.
class DiskCopyViewController : public QWidget,
                               public SelectValueViewDelegate,
                               public SelectDiskVCDelegate,
                               public SelectAllFilePopVCDelegate,
                               public CopyMakeSureWCDelegate,
                               public ControllerDelegate,
                               public DiskListWCDelegate,
                               public DoCopyFilesDelegate,
                               public FeatureTab {
    Q_OBJECT
public:
    // The screen's texts.
    static QString noSelectionMessage(); // "No file/disk has been selected…"
    static QString noSpaceMessage();     // "Insufficient disk space on this destination drive, ..."
    static QString stoppedMessage();     // "You have stopped the copying process."
    static QString failedMessage();      // "Some files copy failed!"
    // "Copy completed! 12 files (7.76 GB) copied and verified. Your files are in ..."
    static QString verifiedMessage(std::int64_t files, std::int64_t bytes);
    // "The copy differs from the source in 3 files." (one file: "in 1 file")
    static QString differsMessage(qsizetype files);
    static QString verifyingText(); // "Verifying…"
    static QString copyingText();   // "Copying data..."
    static QString dropName();      // "add some files"

    explicit DiskCopyViewController(QWidget* parent = nullptr);
    ~DiskCopyViewController() override;

    // FeatureTab: a copy runs from its start until its end view shows.
    Job runningJob() const override { return m_copying ? Job::Copy : Job::None; }
    void stopForQuit(std::function<void()> stopped) override;

    // SelectValueViewDelegate
    void selectDiskButton(int slot, QObject* sender) override;
    void closeDiskValue(int slot) override;
    void viewDragAction(const QStringList& paths) override;
    // SelectDiskVCDelegate
    void doSelectDiskWithVolume(const VolumeObjRef& volume) override;
    // SelectAllFilePopVCDelegate
    void selectFormatbyType(int type) override;
    // CopyMakeSureWCDelegate
    void beginToCopyFiles() override;
    // ControllerDelegate
    void copyFileScanFiles() override;
    // DoCopyFilesDelegate
    void topCopyFilePath(const QString& path) override;
    void topCopyProgress(float percent) override;
    void copyFileError() override;
    void topCopyBytes(std::int64_t bytesCopied, std::int64_t bytesToCopy) override;
    void topVerifyStarted() override;

    void showSelectAllVC();
    void changeSelectCopyType();
    void changeCloneButtonActon();
    void doShowSearchView();
    // DiskListWCDelegate: the ticked tree and its bytes.
    void closeWindowWithSelect(const FileNodeArrayRef& select, qint64 selectSize) override;
    void cloneButtonAction();
    void doCopyAction();
    void cancelButtonAction();
    // "Resume" on the stopped and failure views: the last run goes on into its dated folder.
    void resumeButtonAction();
    void openPathButtonAction();
    void failCancelButtonAction();
    void succCancelButtonAction();
    void backHomeView();
    void canChangeTab(bool allowed);
    // The application is about to end: stops a copy at once, removing the item it was writing.
    void applicationWillTerminate();

    // State, for the owner and the tests.
    VolumeObjRef fromeVolume() const { return m_source->volume(); }
    VolumeObjRef toVolume() const { return m_toVolume; }
    std::int64_t usedSize() const { return m_source->usedSize(); }
    std::int64_t freeSize() const { return m_freeSize; }
    std::int64_t selectFilesSize() const { return m_source->selectFilesSize(); }
    FileNodeArrayRef copyArr() const { return m_copyArr; }
    bool isDragValue() const { return m_source->isDragValue(); }
    int copyType() const { return m_copyType; }
    QString openUrl() const { return m_openUrl; }
    std::shared_ptr<DoCopyFiles> doCopy() const { return m_doCopy; }
    bool isCopying() const { return m_copying; }
    // Items the last destination check found and the copy leaves out.
    const QList<DestinationCheck::Item>& leftOut() const { return m_leftOut; }

    SelectValueView* sourceSlot() const { return m_sourceView; }
    SelectValueView* destinationSlot() const { return m_destinationView; }
    QPushButton* copyTypeButton() const { return m_copyTypeButton; }
    FlatButton* cloneButton() const { return m_cloneButton; }
    QLabel* busyLabel() const { return m_busyLabel; }
    SetpViewController* stepView() const { return m_step; }
    QWidget* selectView() const { return m_selectView; }
    QWidget* progressView() const { return m_progressView; }
    QLabel* pathLabel() const { return m_pathLabel; }
    StripedProgressBar* progressBar() const { return m_bar; }
    // Bytes, rate and time left, under the bar.
    QLabel* progressLine() const { return m_progressLine; }
    FlatButton* cancelButton() const { return m_cancelButton; }
    QWidget* endView() const { return m_endView; }
    QLabel* endLabel() const { return m_endLabel; }
    FlatButton* endButton() const { return m_endButton; }
    FlatButton* resumeButton() const { return m_resumeButton; }
    // The files a verify found different (the first 20, then how many in all).
    QListWidget* differingList() const { return m_differingList; }
    SelectDiskViewController* picker() const;
    SelectAllFilePopVC* copyTypePopup() const;
    CopyMakeSureWC* makeSure() const { return m_makeSure; }
    DiskListWC* listWindow() const { return m_listWindow; }

Q_SIGNALS:
    // The copy has ended and an end view shows.
    void copyEnded();

private:
    void buildSelectView();
    void buildProgressView();
    void buildEndView();
    void setCopyType(int type);
    void setCopyTypeShown(bool shown, bool enabled);
    // "Copy Now" and the destination slot's look for a selection that fits or does not.
    void showFits(bool fits);
    void clearSource();
    void clearDestination();
    void showError(const QString& text);
    void setBusy(const QString& text);
    void startDestinationCheck();
    void showMakeSure();
    void showEnd(bool success, const QString& text);
    // What a stopped run left in the copy: "12 items (1.24 GB) copied before you stopped are in".
    QString keptText() const;
    void waitForStop();
    // The progress view of a run that begins, the tabs locked.
    void showRunning();
    // Shows the bytes of a run: copied, or verified once the verify began.
    void followRun();
    void stopCopy(bool forGood);
    // Drops a start under way (the listing of a whole volume, the destination check) when a
    // slot changes: its answer would be for a choice the user no longer has.
    void dropPendingStart();

    SelectValueView* m_sourceView;
    SelectValueView* m_destinationView;
    std::unique_ptr<SourceSlot> m_source;
    VolumeObjRef m_toVolume;
    std::int64_t m_freeSize = -1;
    FileNodeArrayRef m_copyArr;
    int m_openPopType = 1;
    int m_copyType = 0;
    bool m_isPopSortWin = false;
    bool m_copying = false;
    bool m_starting = false; // from "Copy Now" until the confirmation shows
    QString m_openUrl;
    std::unique_ptr<Controller> m_controller;
    std::shared_ptr<DoCopyFiles> m_doCopy;
    QList<DestinationCheck::Item> m_leftOut;
    // Cuts a destination check short when the screen goes or the selection changes.
    std::shared_ptr<std::atomic<bool>> m_checkStop;

    SetpViewController* m_step;
    QWidget* m_selectView;
    QPushButton* m_copyTypeButton;
    FlatButton* m_cloneButton;
    QLabel* m_busyLabel;
    QWidget* m_progressView;
    QLabel* m_pathLabel;
    StripedProgressBar* m_bar;
    QLabel* m_progressLine;
    TransferProgress* m_transfer;
    FlatButton* m_cancelButton;
    QTimer* m_stopWatch;
    QWidget* m_endView;
    ImageView* m_endIcon;
    QLabel* m_endLabel;
    FlatButton* m_endButton;
    FlatButton* m_resumeButton;
    QListWidget* m_differingList;
    QPointer<Popover> m_pickerPopover;
    QPointer<Popover> m_typePopover;
    QPointer<CopyMakeSureWC> m_makeSure;
    QPointer<DiskListWC> m_listWindow;
};
