#pragma once

#include "core/FeatureTab.h"
#include "osclone/MakeSureCancelCloneSystemVC.h"
#include "osclone/MakeSureToCloneSystemVC.h"
#include "osclone/QvBootable.h"
#include "ui/ErrorWindowController.h"
#include "ui/Popover.h"
#include "ui/SelectValueViewDelegate.h"
#include "volumes/SelectDiskViewController.h"
#include "volumes/VolumeObj.h"

#include <QElapsedTimer>
#include <QList>
#include <QPointer>
#include <QWidget>

#include <cstdint>
#include <functional>

class FlatButton;
class ImageView;
class QLabel;
class SelectValueView;
class SetpFViewController;
class QTimer;
class StripedProgressBar;

// The "OS Clone" tab: the system drive as the fixed source, a whole USB drive as the target
// (picked from the drive picker, large enough for what the system volume holds), a confirmation
// naming the drive, then the clone engine's stages and progress, a confirmed cancel, and the
// outcome. The tabs stay locked from the start of a clone to its outcome.
class SelectDrivceViewController : public QWidget,
                                   public QvBootableDelegate,
                                   public SelectValueViewDelegate,
                                   public SelectDiskVCDelegate,
                                   public MakeSureToCloneSystemDelegate,
                                   public MakeSureCancelCloneSystemDelegate,
                                   public FeatureTab {
    Q_OBJECT
public:
    explicit SelectDrivceViewController(QWidget* parent = nullptr);
    ~SelectDrivceViewController() override;

    // Choosing the target.
    void selectDiskButton(int slot, QObject* sender) override;
    void doSelectDiskWithVolume(const VolumeObjRef& volume) override;
    void changeSelectCopyType();
    void changeCloneButtonActon();
    void closeDiskValue(int slot) override;

    // FeatureTab: a clone runs while the engine works, also after a cancel until its tools ended.
    Job runningJob() const override;
    void stopForQuit(std::function<void()> stopped) override;

    // Starting and stopping.
    void cloneButtonAction();
    void doCopyAction();
    void beginToCopySystem() override;
    void cancelButtonAction();
    void cancelToCopySystem() override;

    // The engine's reports.
    void QvUINotify(const QvProgressRecord* record) override;
    void changeProTimeWithTag(int tag, int step) override;
    void changeProLabelValue(const QString& text) override;

    void changeProValue(double percent);
    void showFailView(const QString& text);
    void showFaile(bool failed);
    void showErrorWindowWithErrorStr(const QString& text);
    void failCancelButtonAction();
    void succCancelButtonAction();
    void backHomeView();
    void canChangeTab(bool allowed);
    void waitForTheEngineToEnd();
    static QString trim(const QString& text);
    static std::int64_t CheckVolumeIsBootDriveImp();

    std::int64_t usedSize() const { return m_usedSize; }
    std::int64_t freeSize() const { return m_freeSize; }
    VolumeObjRef toVolume() const { return m_toVolume; }

    SelectValueView* sourceSlot() const { return m_sourceSlot; }
    SelectValueView* targetSlot() const { return m_targetSlot; }
    FlatButton* cloneButton() const { return m_cloneButton; }
    FlatButton* cancelButton() const { return m_cancelButton; }
    FlatButton* failCancelButton() const { return m_failCancelButton; }
    FlatButton* succCancelButton() const { return m_succCancelButton; }
    QWidget* selectDiskView() const { return m_selectDiskView; }
    QWidget* copyProgressView() const { return m_copyProgressView; }
    QWidget* progressView() const { return m_progressView; }
    QWidget* endView() const { return m_endView; }
    QWidget* sussView() const { return m_sussView; }
    QWidget* failView() const { return m_failView; }
    QLabel* errorLable() const { return m_errorLable; }
    QLabel* pathLabel() const { return m_pathLabel; }
    // What a clone needs, shown before it starts.
    QLabel* requirementsLabel() const { return m_requirementsLabel; }
    // The time since the clone began and, once a copy pass has begun, about how long it has left.
    QLabel* progressLine() const { return m_progressLine; }
    ImageView* animImageView() const { return m_animImageView; }
    StripedProgressBar* iProgreeBar() const { return m_iProgreeBar; }
    SetpFViewController* stepFVC() const { return m_stepFVC; }
    SetpFViewController* chooseStep() const { return m_chooseStep; }
    // The open picker and popups, if any.
    SelectDiskViewController* selectDiskVC() const { return m_selectDiskVC; }
    MakeSureToCloneSystemVC* startConfirmation() const { return m_startConfirmation; }
    MakeSureCancelCloneSystemVC* cancelConfirmation() const { return m_cancelConfirmation; }
    ErrorWindowController* errorWindow() const { return m_errorWindow; }

private:
    void measureSystemVolume();
    void systemVolumeMeasured(std::int64_t used);
    QWidget* buildSelectDiskView();
    QWidget* buildCopyProgressView();
    QWidget* buildEndPanel(bool success);
    void showTargetProblem();
    void showTimes();
    void dropStartConfirmation();

    QvBootable* m_engine;
    std::int64_t m_usedSize = -1;
    std::int64_t m_freeSize = -1;
    VolumeObjRef m_toVolume;
    int m_openPopType = 0;

    QWidget* m_selectDiskView = nullptr;
    SetpFViewController* m_chooseStep = nullptr;
    SelectValueView* m_sourceSlot = nullptr;
    SelectValueView* m_targetSlot = nullptr;
    FlatButton* m_cloneButton = nullptr;
    QLabel* m_requirementsLabel = nullptr;

    QWidget* m_copyProgressView = nullptr;
    SetpFViewController* m_stepFVC = nullptr;
    QWidget* m_progressView = nullptr;
    ImageView* m_animImageView = nullptr;
    StripedProgressBar* m_iProgreeBar = nullptr;
    QLabel* m_pathLabel = nullptr;
    QLabel* m_progressLine = nullptr;
    QTimer* m_timesTick = nullptr;
    QElapsedTimer m_cloneClock;
    // The copy pass under way (0: none yet), when it began, and its last tenth and when it came.
    int m_pass = 0;
    // Once the end view shows (stopped, failed or done), the run's later reports change nothing:
    // a report still on its way after Stop must not turn "stopped" into a failure or a success.
    bool m_runEnded = false;
    // Stop was chosen and the engine has not yet ended; whether its last report was a success.
    bool m_stopping = false;
    bool m_stopSucceeded = false;
    // What waits for the stop to end (a quit).
    QList<std::function<void()>> m_stoppedForQuit;
    // Looks every kStopPollMs whether the engine has ended, while a stop or a quit waits for it.
    QPointer<QTimer> m_endWatch;
    std::int64_t m_passStartMs = 0;
    int m_passTenths = 0;
    std::int64_t m_passTenthsMs = 0;
    FlatButton* m_cancelButton = nullptr;
    QWidget* m_endView = nullptr;
    QWidget* m_sussView = nullptr;
    QWidget* m_failView = nullptr;
    QLabel* m_errorLable = nullptr;
    FlatButton* m_failCancelButton = nullptr;
    FlatButton* m_succCancelButton = nullptr;

    QPointer<SelectDiskViewController> m_selectDiskVC;
    QPointer<Popover> m_popoverController;
    QPointer<MakeSureToCloneSystemVC> m_startConfirmation;
    QPointer<MakeSureCancelCloneSystemVC> m_cancelConfirmation;
    QPointer<ErrorWindowController> m_errorWindow;
};
