#include "diskimage/MakeDmg.h"

#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/QvLog.h"
#include "core/WorkerPool.h"
#include "diskimage/ZipProgressReader.h"
#include "filecopy/GetFilesSize.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/ItemCopy.h"
#include "platform/Machine.h"
#include "platform/Shell.h"
#include "platform/ToolProcesses.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QThread>
#include <QThreadPool>
#include <QWaitCondition>

#include <algorithm>
#include <chrono>

namespace {

// How often a waiting worker looks at the stop flag.
constexpr int kPollMs = 100;
// How long zip's lines gather in the pipe between two reads: one wake-up per batch of lines
// rather than one per line, well before the pipe's buffer could fill and hold zip up.
constexpr int kZipBatchMs = 20;
// How long a stopped tool may take to end before it is killed.
constexpr int kTerminateGraceMs = 5000;
// How much of a tool's error output is kept for the log.
constexpr qsizetype kErrorTextLimit = 16384;

QMutex workersLock;
QWaitCondition workersDone;

QString latin1(const char* text) {
    return QString::fromLatin1(text);
}

QString volumeFolder() {
    return latin1(MakeDmg::kVolumeFolder);
}

// A mounted volume in a "diskutil info" answer (an unknown name answers an error dictionary).
bool isMountedVolume(const std::optional<QVariantMap>& info) {
    return info && !info->value(QStringLiteral("Error")).toBool() &&
           !info->value(QStringLiteral("MountPoint")).toString().isEmpty();
}

// The folder that holds a path ("/" for the top).
QString parentFolder(const QString& path) {
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash > 0 ? path.left(slash) : QStringLiteral("/");
}

bool isInside(const QString& path, const QString& folder) {
    return folder == QLatin1String("/") ? path.startsWith(QLatin1Char('/'))
                                        : path == folder || path.startsWith(folder + QLatin1Char('/'));
}

// Starts a tool with its arguments through the Machine seam.
void startTool(QProcess& tool, const char* macPath, const QStringList& args) {
    tool.setProgram(Machine::hostPath(latin1(macPath)));
    tool.setArguments(args);
    tool.setProcessEnvironment(Machine::toolEnvironment());
    tool.setStandardInputFile(QProcess::nullDevice());
    tool.start();
    tool.waitForStarted(-1);
}

// Ends a tool that is asked to stop: SIGTERM first, then SIGKILL.
void endTool(QProcess& tool) {
    tool.terminate();
    if (!tool.waitForFinished(kTerminateGraceMs)) {
        tool.kill();
        tool.waitForFinished(-1);
    }
}

// The tool's exit status; -1 when it did not start, crashed or was killed.
int exitStatusOf(const QProcess& tool) {
    return tool.exitStatus() == QProcess::NormalExit && tool.error() != QProcess::FailedToStart
               ? tool.exitCode()
               : -1;
}

// Logs what a tool printed, line by line, under a heading.
void logOutput(const char* heading, const QByteArray& output) {
    const QByteArray trimmed = output.trimmed();
    if (!trimmed.isEmpty())
        QvLog("%s: %s", heading, trimmed.left(4096).constData());
}

// Every file and folder below an open folder, at any depth; links are not followed.
std::uint64_t entriesBelow(DirectoryBatchReader& reader) {
    std::uint64_t count = 0;
    const auto batch = std::make_unique<DirectoryBatch>();
    for (;;) {
        const DirectoryBatchReader::ReadResult result = reader.readBatch(*batch);
        for (int i = 0; i < batch->count; ++i) {
            ++count;
            if (!batch->entries[i].isDirectory)
                continue;
            DirectoryBatchReader inner(reader, batch->entries[i].name);
            if (inner.status() == DirectoryBatchReader::OpenStatus::Open)
                count += entriesBelow(inner);
        }
        if (result != DirectoryBatchReader::ReadResult::Success)
            return count;
    }
}

} // namespace

struct MakeDmg::Job {
    QString filePath;         // the ".dmg" or ".zip" (Mac path)
    std::uint64_t size = 0;   // what the image must hold, before the headroom
    bool fileWasThere = true; // a file of that name existed before the run
    QString volumeUUID;       // of the volume this run mounted; empty when none
    std::atomic<bool> awaitingCopy{false};
};

QString MakeDmg::creatingText() {
    return QStringLiteral("Creating disk image\u2026");
}

MakeDmg::MakeDmg(QObject* parent) : QObject(parent) {}

MakeDmg::~MakeDmg() {
    // A run still under way is stopped as by its owner, so a mounted image is ejected and the
    // partial file removed even when the window closes mid-run.
    stopMakeDmg();
    QMutexLocker lock(&workersLock);
    while (m_workers.load() > 0)
        workersDone.wait(&workersLock);
}

void MakeDmg::startWorker(std::function<void()> work) {
    ++m_workers;
    workerPool()->start([this, work = std::move(work)] {
        work();
        QMutexLocker lock(&workersLock);
        --m_workers;
        workersDone.wakeAll();
    });
}

// Calls from the workers go to the main thread as queued calls on this object; the destructor
// waits for the workers, and Qt drops calls still queued for an object that is gone.
void MakeDmg::report(const QString& text, float progress) {
    QMetaObject::invokeMethod(
        this,
        [this, text, progress] {
            if (progress >= 100)
                m_busy = false;
            if (m_delegate)
                m_delegate->copyFileToDmgWithFileName(text, progress);
        },
        Qt::QueuedConnection);
}

void MakeDmg::reportBytes(bool force) {
    const std::int64_t now = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now().time_since_epoch())
                                 .count();
    if (!force && now - m_lastBytesReportMs < 100)
        return;
    // The work does not wait for the screen; one report at a time is on its way, and it carries
    // the figures of the moment it is delivered.
    if (m_bytesReportPending.exchange(true))
        return;
    m_lastBytesReportMs = now;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_bytesReportPending = false;
            if (m_delegate && m_busy)
                m_delegate->makeDmgBytes(m_bytesDone, m_bytesToDo);
        },
        Qt::QueuedConnection);
}

void MakeDmg::measure(const QStringList& paths) {
    std::int64_t total = 0;
    for (const QString& path : paths) {
        if (m_isCancelCopy)
            return;
        total += std::int64_t(GetFilesSize::getFileSizeWithPat(path, 0, &m_isCancelCopy));
    }
    m_bytesToDo = total;
    reportBytes(true);
}

void MakeDmg::waitForMeasure() {
    // The walk began with the work, which reads every byte it counts: it is done or nearly.
    while (m_bytesToDo < 0 && !m_isCancelCopy)
        QThread::msleep(5);
}

void MakeDmg::fail(const MakeDmgFailure& failure) {
    QMetaObject::invokeMethod(
        this,
        [this, failure] {
            m_busy = false;
            if (m_delegate)
                m_delegate->makeDmgFailWithError(failure);
        },
        Qt::QueuedConnection);
}

void MakeDmg::stopped() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_busy = false;
            if (m_delegate)
                m_delegate->makeDmgDidStop();
        },
        Qt::QueuedConnection);
}

std::optional<QVariantMap> MakeDmg::getDisjInfo(const QString& what) {
    return runForDictionary(Runner::EjectExec, QvFormatCommand(128, "diskutil info -plist %s", {what}),
                            "diskutil info " + what.toUtf8() + " error");
}

QString MakeDmg::imageFolderFor(const QString& folder) {
    return folder == QLatin1String("/") ? latin1(kRootFallbackFolder) : folder;
}

QStringList MakeDmg::createArguments(const QString& imagePath, std::uint64_t size) {
    return {QStringLiteral("create"),     imagePath,
            QStringLiteral("-volname"),   latin1(kVolumeName),
            QStringLiteral("-size"),      QString::number(size + kHeadroom),
            QStringLiteral("-fs"),        QStringLiteral("HFS+"),
            QStringLiteral("-format"),    QStringLiteral("UDRW"),
            QStringLiteral("-srcfolder"), latin1(kStagingFolder)};
}

void MakeDmg::makeTmpDmgWithPath(const QString& folder, const QString& name, std::uint64_t size) {
    if (m_busy) {
        // The screens start one run at a time; a second one must not share the first's volume.
        QvLog("an image run was asked for while another is under way");
        fail(MakeDmgFailure{MakeDmgFailure::Kind::CreateFailed});
        return;
    }
    m_busy = true;
    m_isCancelCopy = false;
    m_bytesDone = 0;
    m_bytesToDo = -1;
    m_job = std::make_shared<Job>();
    m_job->size = size;
    if (m_delegate)
        m_delegate->copyFileToDmgWithFileName(creatingText(), kFirstProgress);
    QDir().mkpath(Machine::hostPath(latin1(kStagingFolder)));
    m_dmgNameStr = name;
    const std::shared_ptr<Job> job = m_job;
    startWorker([this, job, folder, name] {
        const QString target = imageFolderFor(folder);
        job->filePath = QStringLiteral("%1/%2.dmg").arg(target, name);
        if (target != folder) {
            // The root volume: a folder of its own that every user may write into.
            const QString host = Machine::hostPath(target);
            if (QDir(host).isEmpty())
                QDir().mkpath(host);
            runShellLine(QvFormatCommand(2048, "chmod -R 777 \"%s\"", {target}));
        }
        createAndMount(job);
    });
}

void MakeDmg::createAndMount(const std::shared_ptr<Job>& job) {
    // Never take over a volume this run did not mount: it would be copied into and ejected.
    if (isMountedVolume(getDisjInfo(latin1(kVolumeName)))) {
        QvLog("a volume named %s is already mounted; no image is made", kVolumeName);
        QDir().rmdir(Machine::hostPath(latin1(kStagingFolder)));
        fail(MakeDmgFailure{MakeDmgFailure::Kind::VolumeInUse});
        return;
    }
    const QString hostImage = Machine::hostPath(job->filePath);
    job->fileWasThere = QFileInfo::exists(hostImage);

    // Stage 1: the empty image.
    QProcess create;
    create.setProcessChannelMode(QProcess::MergedChannels);
    startTool(create, kImageTool, createArguments(job->filePath, job->size));
    const ToolProcesses::Remembered rememberedCreate(create.processId());
    while (!create.waitForFinished(kPollMs) && create.state() != QProcess::NotRunning) {
        if (m_isCancelCopy) {
            endTool(create);
            break;
        }
    }
    logOutput("hdiutil create", create.readAll());
    if (m_isCancelCopy) {
        cleanUpStopped(job);
        stopped();
        return;
    }
    if (exitStatusOf(create) != 0 || !QFileInfo::exists(hostImage)) {
        QDir().rmdir(Machine::hostPath(latin1(kStagingFolder)));
        if (!job->fileWasThere)
            QFile::remove(hostImage);
        fail(MakeDmgFailure{MakeDmgFailure::Kind::CreateFailed});
        return;
    }

    // Stage 2: mount it.
    QDir().rmdir(Machine::hostPath(latin1(kStagingFolder)));
    QProcess mount;
    mount.setProcessChannelMode(QProcess::MergedChannels);
    startTool(mount, kImageTool, {QStringLiteral("mount"), job->filePath});
    {
        // A stop does not break a mount off: once it has ended, what it mounted is known and can
        // be ejected. A mount that hangs is ended at the tools' usual limit.
        const ToolProcesses::Remembered remembered(mount.processId());
        if (!mount.waitForFinished(toolTimeLimits().normalMs) && mount.state() != QProcess::NotRunning) {
            QvLog("hdiutil mount did not end in time");
            endTool(mount);
        }
    }
    logOutput("hdiutil mount", mount.readAll());
    // Whatever the mount made by now is looked for, also after a time-out, so that it is ejected.
    const std::optional<QVariantMap> volume = getDisjInfo(latin1(kVolumeName));
    if (isMountedVolume(volume))
        job->volumeUUID = volume->value(QStringLiteral("VolumeUUID")).toString();
    if (m_isCancelCopy) {
        cleanUpStopped(job);
        stopped();
        return;
    }
    if (job->volumeUUID.isEmpty() ||
        volume->value(QStringLiteral("MountPoint")).toString() != volumeFolder()) {
        // Not where the copy would go: give back what was made.
        cleanUpStopped(job);
        fail(MakeDmgFailure{MakeDmgFailure::Kind::MountFailed});
        return;
    }
    job->awaitingCopy = true;
    QMetaObject::invokeMethod(
        this,
        [this, job] {
            if (job != m_job || !job->awaitingCopy)
                return;
            if (m_isCancelCopy) {
                // Stopped while this call was on its way.
                job->awaitingCopy = false;
                startWorker([this, job] {
                    cleanUpStopped(job);
                    stopped();
                });
                return;
            }
            if (m_delegate)
                m_delegate->beginToCopyDmg();
        },
        Qt::QueuedConnection);
}

void MakeDmg::doCopyFilesToDmgWithDmg(const QStringList& paths) {
    const std::shared_ptr<Job> job = m_job;
    if (!job || !job->awaitingCopy.exchange(false))
        return;
    startWorker([this, paths] { measure(paths); });
    startWorker([this, job, paths] {
        const qsizetype n = paths.size();
        int missing = 0;
        for (qsizetype i = 0; i < n && !m_isCancelCopy; ++i) {
            const QString& path = paths.at(i);
            const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
            // A path ending in "/" names nothing to copy.
            if (name.isEmpty() || name == QLatin1String(" "))
                continue;
            if (i == 0)
                report(creatingText(), kFirstProgress);
            QString error;
            // A stop also ends the copy of a folder between its files; the file under way is
            // removed.
            ItemCopyControl control;
            control.abort = &m_isCancelCopy;
            const std::int64_t before = m_bytesDone;
            control.progress = [this, before](const ItemCopyProgress& progress) {
                m_bytesDone = before + progress.bytes;
                reportBytes(false);
            };
            if (!copyItem(Machine::hostPath(path),
                          Machine::hostPath(volumeFolder() + QLatin1Char('/') + name), &error, control)) {
                QvLog("error--------%s", error.toUtf8().constData());
                ++missing;
            }
            const std::uint64_t progress = (std::uint64_t(i) * 100 + 100) / std::uint64_t(n);
            if (progress < 100)
                report(creatingText(), float(std::max<std::uint64_t>(progress, kFirstProgress)));
        }
        if (m_isCancelCopy) {
            cleanUpStopped(job);
            stopped();
            return;
        }
        waitForMeasure();
        reportBytes(true);
        // Stage 4: the image is complete once its volume is ejected.
        const bool ejected = eject(*job);
        if (m_isCancelCopy) {
            // Stopped while ejecting: the stop still wins, and takes the image away.
            cleanUpStopped(job);
            stopped();
            return;
        }
        if (!ejected) {
            fail(MakeDmgFailure{MakeDmgFailure::Kind::ToolFailed});
            return;
        }
        if (missing > 0) {
            fail(MakeDmgFailure{MakeDmgFailure::Kind::ItemsMissing, missing});
            return;
        }
        report(creatingText(), 100);
    });
}

bool MakeDmg::eject(Job& job) {
    if (job.volumeUUID.isEmpty())
        return true;
    // Eject only the volume this run mounted, found by name as the Mac knows it now.
    const std::optional<QVariantMap> volume = getDisjInfo(latin1(kVolumeName));
    const QString uuid = volume ? volume->value(QStringLiteral("VolumeUUID")).toString() : QString();
    if (uuid != job.volumeUUID) {
        QvLog("%s is not the volume this image mounted; it is left alone", kVolumeName);
        return false;
    }
    const QString output = ejectExecCommand(QvFormatCommand(64, "diskutil eject %s", {uuid}));
    QvLog("%s", output.toUtf8().constData());
    if (isMountedVolume(getDisjInfo(uuid))) {
        QvLog("the image's volume %s did not eject", uuid.toUtf8().constData());
        return false;
    }
    job.volumeUUID.clear();
    return true;
}

void MakeDmg::cleanUpStopped(const std::shared_ptr<Job>& job) {
    eject(*job);
    const QString host = Machine::hostPath(job->filePath);
    if (!job->filePath.isEmpty() && !job->fileWasThere && QFileInfo::exists(host)) {
        if (!QFile::remove(host))
            QvLog("the partial %s could not be removed", job->filePath.toUtf8().constData());
    }
}

std::uint64_t MakeDmg::getAllFileCountWithPath(const QString& folder) {
    DirectoryBatchReader reader(Machine::hostPath(folder));
    return reader.status() == DirectoryBatchReader::OpenStatus::Open ? entriesBelow(reader) : 0;
}

void MakeDmg::selectedPaths(const FileNodeList& nodes, QStringList* paths) {
    for (const FileNodeRef& node : nodes) {
        if (node->state() == 1)
            paths->append(node->path());
        else if (node->state() == 2)
            selectedPaths(node->children().toList(), paths);
    }
}

void MakeDmg::getAllFileCount(const FileNodeList& nodes, QStringList* paths, std::uint64_t* count) {
    for (const FileNodeRef& node : nodes) {
        if (node->state() == 1) {
            paths->append(node->path());
            *count += node->isDirectory() ? getAllFileCountWithPath(node->path()) : 1;
        } else if (node->state() == 2) {
            getAllFileCount(node->children().toList(), paths, count);
        }
    }
}

void MakeDmg::doZipWithPath(const QString& zipPath, const FileNodeList& nodes) {
    if (m_busy) {
        QvLog("an archive was asked for while another run is under way");
        fail(MakeDmgFailure{MakeDmgFailure::Kind::ToolFailed, 0, -1});
        return;
    }
    m_busy = true;
    m_isCancelCopy = false;
    m_bytesDone = 0;
    m_bytesToDo = -1;
    m_job = std::make_shared<Job>();
    m_job->filePath = zipPath;
    const std::shared_ptr<Job> job = m_job;
    startWorker([this, job, nodes] { zip(job, nodes); });
}

QString MakeDmg::zipFolderFor(const FileNodeList& nodes) {
    QString folder;
    for (const FileNodeRef& node : nodes) {
        const QString parent = parentFolder(node->path());
        if (folder.isEmpty())
            folder = parent;
        while (!isInside(parent, folder))
            folder = parentFolder(folder);
    }
    return folder.isEmpty() ? QStringLiteral("/") : folder;
}

QStringList MakeDmg::zipArguments(const QString& zipPath, const QString& folder, const QStringList& paths) {
    QStringList args{QStringLiteral("-r"), zipPath};
    const qsizetype cut = folder == QLatin1String("/") ? 1 : folder.size() + 1;
    for (const QString& path : paths) {
        const QString name = path.mid(cut);
        // A name that starts like an option is still a name.
        args << (name.startsWith(QLatin1Char('-')) ? QStringLiteral("./") + name : name);
    }
    return args;
}

void MakeDmg::zip(const std::shared_ptr<Job>& job, const FileNodeList& nodes) {
    QStringList paths;
    selectedPaths(nodes, &paths);
    // zip runs in the folder holding the chosen items, so the archive's entries are named as the
    // user sees them there.
    const QString folder = zipFolderFor(nodes);
    // zip starts at once; the entries it will report are counted beside it, and the progress
    // shows from the first output after the count is known.
    struct Count {
        std::atomic<std::uint64_t> entries{0};
        std::atomic<bool> known{false};
    };
    const auto count = std::make_shared<Count>();
    startWorker([this, nodes, count, paths] {
        QStringList unused;
        std::uint64_t entries = 0;
        getAllFileCount(nodes, &unused, &entries);
        count->entries = entries;
        count->known = true;
        measure(paths);
    });
    const QString hostZip = Machine::hostPath(job->filePath);
    job->fileWasThere = QFileInfo::exists(hostZip);

    QProcess zip;
    zip.setWorkingDirectory(Machine::hostPath(folder));
    startTool(zip, kArchiveTool, zipArguments(job->filePath, folder, paths));
    const ToolProcesses::Remembered remembered(zip.processId());
    ZipProgressReader reader;
    QByteArray errors;
    int shown = -1;
    // zip names each entry as it was given, relative to the folder it runs in (absolute paths
    // lose their leading "/"); a file's bytes count once zip has taken it.
    const QString entriesFolder = folder;
    auto countBytes = [&] {
        for (const QByteArray& stored : reader.takeAdded()) {
            const QString name = QString::fromUtf8(stored);
            const ItemInfo info =
                readItemInfo(Machine::hostPath(entriesFolder.endsWith(QLatin1Char('/'))
                                                   ? entriesFolder + name
                                                   : entriesFolder + QLatin1Char('/') + name),
                             true);
            if (info.exists && !info.isDirectory)
                m_bytesDone += std::int64_t(info.dataLength);
        }
    };
    auto take = [&] {
        if (reader.feed(zip.readAllStandardOutput()) == 0)
            return;
        countBytes();
        reportBytes(false);
        // With nothing counted there is no share to show; the end reports 100.
        const std::uint64_t expected = count->known ? count->entries.load() : 0;
        if (expected == 0)
            return;
        const int progress = int(std::min<std::uint64_t>(99, reader.addedCount() * 100 / expected));
        if (progress != shown) {
            shown = progress;
            report(QString::fromUtf8(reader.lastEntry()), float(progress));
        }
    };
    while (zip.state() != QProcess::NotRunning) {
        if (m_isCancelCopy) {
            endTool(zip);
            break;
        }
        zip.waitForReadyRead(kPollMs);
        take();
        const QByteArray more = zip.readAllStandardError();
        if (errors.size() < kErrorTextLimit)
            errors += more.left(kErrorTextLimit - errors.size());
        if (zip.state() != QProcess::NotRunning && !m_isCancelCopy)
            QThread::msleep(kZipBatchMs);
    }
    zip.waitForFinished(-1);
    take();
    reader.finish();
    countBytes();
    waitForMeasure();
    reportBytes(true);
    errors += zip.readAllStandardError().left(qMax<qsizetype>(0, kErrorTextLimit - errors.size()));
    logOutput("zip", errors);
    QvLog("--end---");
    if (m_isCancelCopy) {
        cleanUpStopped(job);
        stopped();
        return;
    }
    const int status = exitStatusOf(zip);
    if (reader.missingCount() > 0) {
        fail(MakeDmgFailure{MakeDmgFailure::Kind::ItemsMissing, int(reader.missingCount()), status});
        return;
    }
    if (status != 0) {
        fail(MakeDmgFailure{MakeDmgFailure::Kind::ToolFailed, 0, status});
        return;
    }
    report(QString(), 100);
}

void MakeDmg::stopMakeDmg() {
    m_isCancelCopy = true;
    const std::shared_ptr<Job> job = m_job;
    // Between the mount and the owner's answer no worker runs: clean up here.
    if (job && job->awaitingCopy.exchange(false)) {
        startWorker([this, job] {
            cleanUpStopped(job);
            stopped();
        });
    }
}
