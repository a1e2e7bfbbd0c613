#pragma once

#include "osclone/AsrOutputParser.h"
#include "osclone/CloneTargetCheck.h"
#include "osclone/QvUSBControl.h"
#include "platform/PrivilegedRunner.h"
#include "platform/TerminalProcess.h"
#include "volumes/VolumeObj.h"

#include <QList>
#include <QMutex>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <cstdint>
#include <memory>

// What the clone engine hands its listener with each report; valid only during the call.
struct QvProgressRecord {
    std::int32_t errorCode = 0; // 0 for progress, negative for an error
    std::int32_t stepCode = 0;  // the stage of the clone
    std::int32_t percent = 0;   // the stage's share of the whole clone
};

// The clone engine's listener; every report arrives on the main thread. Not owned.
class QvBootableDelegate {
public:
    virtual ~QvBootableDelegate() = default;
    virtual void QvUINotify(const QvProgressRecord* record) { (void)record; }
    virtual void changeProLabelValue(const QString& text) { (void)text; }
    // A tenth (1..10) of copy pass `step` (1 system files, 2 user files) is done.
    virtual void changeProTimeWithTag(int tag, int step) {
        (void)tag;
        (void)step;
    }
    virtual void QvEnumUSBFinish() {}
};

// Clones the running system volume onto a whole USB drive and makes the drive bootable: erases
// the drive with the disk tool, then runs the restore tool from "/" onto the new volume, answers
// its erase question and turns its output into stages and percentages for the delegate.
//
// One engine serves the process. Call QvInit and QvSetDelegate once, then QvStart per clone and
// QvStop at any time, all on the main thread. The preparation and the erase run on a worker;
// the restore tool runs from the main thread, so that its progress arrives while it works.
//
// The restore tool works only as root. Before anything is erased the engine asks the person at
// the Mac, once, for administrator rights for this clone's commands (PrivilegedRunner): the
// restore, and the erase should the disk tool refuse it to the user (error -69877). Refused or
// cancelled, the clone ends there with nothing erased. The restore then runs as root; a stop ends
// it there too. Started on its own (QvCreateBootableSystem without a clone's rights), the restore
// tool runs as Tavrill's own user, which is enough only when Tavrill itself runs as root.
//
// Step codes: 0 started, 1 preparing, 2 erasing, 3 erased / validating the target, 4 validating
// the source, 5 copying, 8 finished. Error codes: see the constants below.
class QvBootable : public QvUSBControlDelegate {
public:
    static constexpr int kErrLaunch = -1;         // the restore tool had no source or target
    static constexpr int kErrNoTarget = -2;       // no target drive (or a clone is still running)
    static constexpr int kErrUnplugged = -3;      // the target drive was pulled out
    static constexpr int kErrErase = -4;          // the erased drive's volume is missing
    static constexpr int kErrSystemVersion = -5;  // the running system cannot be cloned
    static constexpr int kErrFailed = -6;         // the clone failed
    static constexpr int kErrRestore = -7;        // the restore tool did not finish its work
    static constexpr int kErrCancelled = -8;      // the user cancelled
    static constexpr int kErrTargetChanged = -9;  // the confirmed drive is not there any more as it was
    static constexpr int kErrNotAuthorized = -10; // no administrator rights were given
    static constexpr int kErrAuthorizationCancelled = -11; // the rights dialog was cancelled
    static constexpr int kErrNeedsRoot = -12;              // the restore tool refused to run without rights

    static QvBootable* QvShareInstance();

    void QvInit();
    void QvUninit();
    void QvSetDelegate(QvBootableDelegate* delegate) { _delegateObj = delegate; }
    QvBootableDelegate* delegateObj() const { return _delegateObj; }
    void setDelegateObj(QvBootableDelegate* delegate) { _delegateObj = delegate; }

    QList<QVariantMap> QvGetUSBList() const;

    // Starts a clone onto the whole disk `target` (its volumePath is the BSD name, its name and
    // total size what the user confirmed): 0 when started, kErrNoTarget without a target or while
    // another clone runs.
    int QvStart(const VolumeObjRef& target);
    // Cancels: the running disk tool command is stopped and the restore tool ended. Answers 0.
    int QvStop();
    bool QvUserIsCancel() override { return _bUserCancel.load(); }
    void QvEnumUSBFinishImp() override;

    // Launches the restore tool (main thread): 0 when it runs, kErrLaunch without source or target.
    int QvCreateBootableSystem(const QString& source, const QString& target);
    // A chunk of the restore tool's output and its end.
    void QvReceivedData(const QByteArray& chunk);
    void QvTerminated(int exitCode, bool normalExit);

    void changeProTimeWithTag(int tag, int step);
    // Posts a report to the main thread.
    void QvUpdateProgress(int progress, int errorCode, int stepCode);
    void QvUpdateProgressImp(int progress, int errorCode, int stepCode);
    static int QvGetPrecentWithStepCode(int stepCode);

    // The file system the target is erased with on a system version (1013 for 10.13).
    static QString fileSystemForVersion(int version);
    // Bytes in use on the system volume, which a target must be able to take: "diskutil info
    // -plist /" into TavrillDataTemp.plist; the container's figures from 10.15 on. 0 when the
    // disk tool gave no answer.
    static std::int64_t systemVolumeUsedSize();

    // A clone is under way (from QvStart to its last report).
    bool isRunning() const { return m_running.load(); }
    // The running clone has begun to erase its target drive.
    bool eraseBegan() const { return m_eraseBegan.load(); }
    // The restore tool's output as read so far (main thread).
    const AsrOutputParser& asrOutput() const { return m_parser; }

private:
    QvBootable() = default;
    void worker(const ConfirmedDrive& drive, const QString& volumeName, const QString& volumePath);
    void postLabel(const QString& text);
    void finish(int errorCode, int stepCode);
    // Asks for this clone's rights: 0 when given, else the error code to end with.
    int askForRights(const ConfirmedDrive& drive, const QString& fileSystem, const QString& volumeName,
                     const QString& volumePath);
    std::shared_ptr<PrivilegedRunner> rights() const;
    // Ends this clone's administrator session (blocks for up to a second or two).
    void endRights();

    QString _strDmgPath;
    QPointer<TerminalProcess> _taskCreate; // the restore tool run as Tavrill's user
    QPointer<PrivilegedJob> m_rootRestore; // the restore tool run as root
    mutable QMutex m_rightsLock;
    std::shared_ptr<PrivilegedRunner> m_rights; // this clone's administrator session
    QString m_rightsTarget;                     // the restore target it was granted for
    QByteArray m_outputTail;                    // the end of the restore tool's output (main thread)
    std::atomic<bool> _bUserCancel{false};
    QvBootableDelegate* _delegateObj = nullptr;

    AsrOutputParser m_parser; // main thread only
    QString m_targetDisk;     // the whole disk being cloned onto
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_eraseBegan{false};
};
