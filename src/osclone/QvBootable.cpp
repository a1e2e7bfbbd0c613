#include "osclone/QvBootable.h"

#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/MainThread.h"
#include "core/PropertyList.h"
#include "core/QvLog.h"
#include "core/QvPublicUtilities.h"
#include "core/QvTask.h"
#include "core/WorkerPool.h"
#include "osclone/OsCloneTexts.h"
#include "platform/Machine.h"
#include "platform/Shell.h"
#include "platform/TerminalProcess.h"

#include <QFileInfo>
#include <QThreadPool>
#include <QTimer>

#include <cmath>
#include <cstdlib>
#include <ctime>

namespace {

// How long the restore tool has to leave after a cancel before it is killed.
constexpr int kRestoreKillMs = 5000;
constexpr double kEraseTimeoutSeconds = 600.0;
// The commands of a clone's administrator session, in the order they are granted.
constexpr int kRootErase = 0;
constexpr int kRootRestore = 1;
// How much of the restore tool's output is kept for the verdict's reasons.
constexpr qsizetype kOutputTail = 4096;

std::optional<QVariantMap> lookupDisk(const QString& arg) {
    return runForDictionary(Runner::EraserDisk, QvFormatCommand(64, "diskutil info -plist %s", {arg}));
}

// Whether the whole disk is still attached.
bool diskPresent(const QString& bsdName) {
    const std::optional<QVariantMap> info = lookupDisk(QStringLiteral("/dev/") + bsdName);
    return info && !info->value(QStringLiteral("Error")).toBool() &&
           info->value(QStringLiteral("DeviceIdentifier")).toString() == bsdName;
}

} // namespace

QvBootable* QvBootable::QvShareInstance() {
    static QvBootable* instance = new QvBootable;
    return instance;
}

void QvBootable::QvInit() {
    QvInitLog();
    _strDmgPath = QStringLiteral("/Volumes/Recovery HD/com.apple.recovery.boot/BaseSystem.dmg");
    QvUSBControl::QvShareInstance()->QvSetDelegateObj(this);
    std::srand(static_cast<unsigned>(std::time(nullptr)));
}

void QvBootable::QvUninit() {
    QvUninitLog();
}

QList<QVariantMap> QvBootable::QvGetUSBList() const {
    return QvUSBControl::QvShareInstance()->QvGetUSBList();
}

void QvBootable::QvEnumUSBFinishImp() {
    onMain([this] {
        if (_delegateObj)
            _delegateObj->QvEnumUSBFinish();
    });
}

int QvBootable::QvGetPrecentWithStepCode(int stepCode) {
    if (stepCode == 8)
        return 100;
    const float percent = static_cast<float>(stepCode) * 0.125f * 100.0f;
    return std::min(100, static_cast<int>(std::trunc(percent)));
}

QString QvBootable::fileSystemForVersion(int version) {
    if (version < 1013)
        return QStringLiteral("HFS+");
    if (version < 1015)
        return QStringLiteral("APFS");
    return QStringLiteral("JHFS+");
}

std::int64_t QvBootable::systemVolumeUsedSize() {
    const QString file = Machine::temporaryDirectory() + QStringLiteral("/TavrillDataTemp.plist");
    DoCommand(QvFormatCommand(64, "diskutil info -plist /", std::initializer_list<QByteArray>{}), file);
    const std::optional<QVariantMap> info = PropertyList::readDictionary(Machine::hostPath(file));
    if (!info)
        return 0;
    QvLog("SYS: %s", PropertyList::toXml(*info).constData());
    const bool container = QvPublicUtilities::getSystemVersion() >= 1015;
    const auto size = [&](const char* key) { return info->value(QString::fromLatin1(key)).toLongLong(); };
    return container ? size("APFSContainerSize") - size("APFSContainerFree")
                     : size("TotalSize") - size("FreeSpace");
}

int QvBootable::QvStart(const VolumeObjRef& target) {
    if (!target || target->volumePath().isEmpty())
        return kErrNoTarget;
    bool idle = false;
    if (!m_running.compare_exchange_strong(idle, true))
        return kErrNoTarget;
    // Only a clone that really starts forgets an earlier cancel: a start refused while another
    // clone runs must not undo that clone's cancel.
    _bUserCancel.store(false);
    m_eraseBegan.store(false);
    QvUSBControl* control = QvUSBControl::QvShareInstance();
    control->CreateVolumeName();
    const ConfirmedDrive drive{target->volumePath(), target->volumeTotalSizeNum(), target->volumeName()};
    m_targetDisk = drive.bsdName;
    workerPool()->start([this, drive, name = control->QvGetZantorVolumeName(),
                         path = control->QvGetZantorVolumePath()] { worker(drive, name, path); });
    return 0;
}

void QvBootable::worker(const ConfirmedDrive& drive, const QString& volumeName, const QString& volumePath) {
    QvUpdateProgress(0, 0, 0);
    QvUpdateProgress(0, 0, 1);
    if (_bUserCancel.load())
        return finish(kErrCancelled, 1);
    // The indexing service's stores would keep the volumes busy.
    runShellLine("killall mds_stores");
    QvUpdateProgress(0, 0, 2);

    const int version = QvPublicUtilities::getSystemVersion();
    const QString fileSystem = fileSystemForVersion(version);

    // The drive is erased only if it is still the one the user confirmed: no question for rights
    // about a drive that is not, and a last look once they are given (the dialog may have stood
    // open a while).
    const auto targetRefused = [&drive] {
        const QString refusal = checkCloneTarget(drive, lookupDisk);
        if (!refusal.isEmpty())
            QvLog("Clone refused, nothing erased: %s", qUtf8Printable(refusal));
        return !refusal.isEmpty();
    };
    if (targetRefused())
        return finish(kErrTargetChanged, 2);
    if (_bUserCancel.load())
        return finish(kErrCancelled, 1);
    if (const int refused = askForRights(drive, fileSystem, volumeName, volumePath); refused != 0)
        return finish(refused, refused == kErrCancelled ? 1 : 2);
    if (targetRefused())
        return finish(kErrTargetChanged, 2);
    if (_bUserCancel.load())
        return finish(kErrCancelled, 1);

    QvLog("eraseDisk %s %s %s", qUtf8Printable(fileSystem), qUtf8Printable(volumeName),
          qUtf8Printable(drive.bsdName));
    QvTask* task = QvTask::QvShareInstance();
    task->QvSetLaunchPath(QStringLiteral("/usr/sbin/diskutil"));
    task->QvSetArguments(QStringList{QStringLiteral("eraseDisk"), fileSystem, volumeName, drive.bsdName});
    task->QvSetTimeoutCount(kEraseTimeoutSeconds);
    m_eraseBegan.store(true);
    task->QvStartTask();
    // The disk tool refuses some drives to an ordinary user; the erase is then run as root.
    if (task->QvLastErrorOutput().contains("-69877") && !_bUserCancel.load()) {
        QvLog("eraseDisk refused to the user: again with administrator rights");
        QByteArray output;
        const std::shared_ptr<PrivilegedRunner> granted = rights();
        const int code =
            !granted ? -1 : granted->run(kRootErase, &output, [this] { return _bUserCancel.load(); });
        QvLog("eraseDisk as root ended with %d: %s", code, output.constData());
    }

    // The erase is judged by the volume it leaves. Without one the restore tool is not started:
    // whatever else is mounted under a clone name is not the drive the user chose.
    int errorCode = 0;
    if (!QFileInfo(Machine::hostPath(volumePath)).isDir()) {
        errorCode = diskPresent(drive.bsdName) ? kErrErase : kErrUnplugged;
    } else if (const std::optional<QVariantMap> info = lookupDisk(volumePath);
               !info || !wholeDisksOfVolume(*info).contains(drive.bsdName)) {
        QvLog("%s is not on %s", qUtf8Printable(volumePath), qUtf8Printable(drive.bsdName));
        errorCode = kErrErase;
    }
    if (_bUserCancel.load())
        return finish(kErrCancelled, 2);

    if (version >= 1015) {
        const QByteArray bsd = drive.bsdName.toUtf8();
        if (eraserDiskCommand(QvFormatCommand(64, "diskutil unmountDisk /dev/%s", {bsd})).isNull())
            QvLog("diskutil info %s error", bsd.constData());
        eraserDiskCommand(QvFormatCommand(64, "diskutil mountDisk /dev/%s", {bsd}));
    }
    if (errorCode != 0)
        return finish(errorCode, 3);
    QvUpdateProgress(0, 0, 3);
    onMain([this, volumePath] {
        if (QvCreateBootableSystem(QStringLiteral("/"), volumePath) != 0) {
            workerPool()->start([this] { endRights(); });
            m_running.store(false);
        }
    });
}

int QvBootable::askForRights(const ConfirmedDrive& drive, const QString& fileSystem,
                             const QString& volumeName, const QString& volumePath) {
    const std::optional<PrivilegedCommand> erase =
        PrivilegedCommand::diskutil({QStringLiteral("eraseDisk"), fileSystem, volumeName, drive.bsdName});
    const std::optional<PrivilegedCommand> restore =
        PrivilegedCommand::restore(QStringLiteral("/"), volumePath);
    if (!erase || !restore) {
        QvLog("no administrator rights asked for: %s %s %s", qUtf8Printable(drive.bsdName),
              qUtf8Printable(volumeName), qUtf8Printable(volumePath));
        return kErrNoTarget;
    }
    auto runner = std::make_shared<PrivilegedRunner>(QList<PrivilegedCommand>{*erase, *restore});
    {
        QMutexLocker lock(&m_rightsLock);
        m_rights = runner;
        m_rightsTarget = volumePath;
    }
    const PrivilegedRunner::Answer answer =
        runner->authorize(OsCloneTexts::rightsPrompt(), [this] { return _bUserCancel.load(); });
    switch (answer) {
    case PrivilegedRunner::Answer::Approved:
        QvLog("administrator rights given");
        return 0;
    case PrivilegedRunner::Answer::GaveUp:
        return kErrCancelled;
    case PrivilegedRunner::Answer::Cancelled:
        QvLog("administrator rights: dialog cancelled, nothing erased");
        return kErrAuthorizationCancelled;
    case PrivilegedRunner::Answer::Denied:
    case PrivilegedRunner::Answer::Failed:
        break;
    }
    QvLog("administrator rights refused, nothing erased: %s", qUtf8Printable(runner->refusal()));
    return kErrNotAuthorized;
}

std::shared_ptr<PrivilegedRunner> QvBootable::rights() const {
    QMutexLocker lock(&m_rightsLock);
    return m_rights;
}

void QvBootable::endRights() {
    std::shared_ptr<PrivilegedRunner> ending;
    {
        QMutexLocker lock(&m_rightsLock);
        ending.swap(m_rights);
        m_rightsTarget.clear();
    }
    if (ending)
        ending->end();
}

void QvBootable::finish(int errorCode, int stepCode) {
    endRights();
    onMain([this, errorCode, stepCode] {
        QvUpdateProgressImp(0, errorCode, stepCode);
        m_running.store(false);
    });
}

int QvBootable::QvCreateBootableSystem(const QString& source, const QString& target) {
    if (source.isEmpty() || target.isEmpty()) {
        QvUpdateProgress(0, 0, 3);
        return kErrLaunch;
    }
    // A cancel that came in after the erase: the restore tool is not started at all.
    if (_bUserCancel.load()) {
        QvUpdateProgressImp(0, kErrCancelled, 3);
        return kErrCancelled;
    }
    postLabel(QString());
    m_parser = AsrOutputParser();
    m_outputTail.clear();

    // A clone's restore runs as root, as its rights were granted.
    std::shared_ptr<PrivilegedRunner> granted;
    {
        QMutexLocker lock(&m_rightsLock);
        if (m_rights && source == QLatin1String("/") && target == m_rightsTarget)
            granted = m_rights;
    }
    if (granted) {
        PrivilegedJob* job = granted->start(kRootRestore);
        if (!job) {
            QvLog("asr could not be started as root");
            QvUpdateProgressImp(0, kErrRestore, 8);
            return kErrRestore;
        }
        QObject::connect(job, &PrivilegedJob::outputReady, job,
                         [this](const QByteArray& chunk) { QvReceivedData(chunk); });
        QObject::connect(job, &PrivilegedJob::finished, job, [this, job](int code, bool normal) {
            job->deleteLater();
            QvTerminated(code, normal);
        });
        m_rootRestore = job;
        return 0;
    }

    auto* process = new TerminalProcess;
    QObject::connect(process, &TerminalProcess::outputReady, process,
                     [this](const QByteArray& chunk) { QvReceivedData(chunk); });
    QObject::connect(process, &TerminalProcess::finished, process, [this, process](int code, bool normal) {
        process->deleteLater();
        QvTerminated(code, normal);
    });
    const QStringList arguments{
        QStringLiteral("restore"), QStringLiteral("--source"), source, QStringLiteral("--target"), target,
        QStringLiteral("--erase")};
    if (!process->start(Machine::hostPath(QStringLiteral("/usr/sbin/asr")), arguments,
                        Machine::toolEnvironment())) {
        QvLog("asr could not be started");
        delete process;
        QvUpdateProgressImp(0, kErrRestore, 8);
        return kErrRestore;
    }
    if (!process->usesTerminal())
        QvLog("asr runs without a terminal: its output may arrive only at its end");
    _taskCreate = process;
    return 0;
}

void QvBootable::QvReceivedData(const QByteArray& chunk) {
    if (chunk.isEmpty())
        return;
    QvLog("========: | %s |", chunk.constData());
    m_outputTail = (m_outputTail + chunk).right(kOutputTail);
    for (const AsrReport& report : m_parser.feed(chunk)) {
        switch (report.kind) {
        case AsrReport::Kind::AnswerPrompt:
            if (_taskCreate) {
                _taskCreate->write("y");
                _taskCreate->closeWriteChannel();
            }
            break;
        case AsrReport::Kind::Step:
            QvUpdateProgress(0, 0, report.value);
            break;
        case AsrReport::Kind::Label:
            postLabel(report.text);
            break;
        case AsrReport::Kind::Tenth:
            changeProTimeWithTag(report.value, report.pass);
            break;
        }
    }
}

void QvBootable::QvTerminated(int exitCode, bool normalExit) {
    _taskCreate = nullptr;
    m_rootRestore = nullptr;
    const bool succeeded = m_parser.succeeded(exitCode, normalExit);
    const bool cancelled = _bUserCancel.load();
    // The tool's own words when it was started without the rights it needs.
    const bool needsRoot = m_outputTail.contains("needs to be run as root");
    const QString disk = m_targetDisk;
    workerPool()->start([this, succeeded, cancelled, needsRoot, exitCode, normalExit, disk] {
        QvLog("task terminated (%s %d)", normalExit ? "exit" : "signal", exitCode);
        if (cancelled)
            QvLog("User cancel");
        int errorCode = 0;
        if (!succeeded && needsRoot)
            errorCode = kErrNeedsRoot;
        else if (!succeeded)
            errorCode = !cancelled && !diskPresent(disk) ? kErrUnplugged : kErrRestore;
        finish(errorCode, 8);
    });
}

int QvBootable::QvStop() {
    _bUserCancel.store(true);
    QvTask::QvShareInstance()->QvStopTask();
    onMainSync([this] {
        // The root side ends the restore: SIGTERM, then SIGKILL after its grace period.
        if (m_rootRestore)
            m_rootRestore->stop();
        QPointer<TerminalProcess> process = _taskCreate;
        if (!process || !process->isRunning())
            return;
        process->terminate();
        QTimer::singleShot(kRestoreKillMs, process, [process] {
            if (process && process->isRunning())
                process->kill();
        });
    });
    return 0;
}

void QvBootable::changeProTimeWithTag(int tag, int step) {
    onMain([this, tag, step] {
        if (_delegateObj)
            _delegateObj->changeProTimeWithTag(tag, step);
    });
}

void QvBootable::postLabel(const QString& text) {
    onMain([this, text] {
        if (_delegateObj)
            _delegateObj->changeProLabelValue(text);
    });
}

void QvBootable::QvUpdateProgress(int progress, int errorCode, int stepCode) {
    onMain([this, progress, errorCode, stepCode] { QvUpdateProgressImp(progress, errorCode, stepCode); });
}

void QvBootable::QvUpdateProgressImp(int progress, int errorCode, int stepCode) {
    QvProgressRecord record;
    record.errorCode = errorCode;
    record.stepCode = stepCode;
    record.percent = QvGetPrecentWithStepCode(stepCode) + progress;
    if (_delegateObj)
        _delegateObj->QvUINotify(&record);
}
