#include "filecopy/DoCopyFiles.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/QvPublicUtilities.h"
#include "core/WorkerPool.h"
#include "filecopy/FileChecksum.h"
#include "filecopy/GetFilesSize.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/DiskArbitration.h"
#include "platform/ItemCopy.h"
#include "platform/Machine.h"
#include "platform/PastCacheFile.h"
#include "volumes/VolumeEnumerator.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThreadPool>

#include <chrono>
#include <cstring>
#include <functional>
#include <thread>
#include <unistd.h>

namespace {

bool canEnter(const QString& macPath) {
    return ::access(QFile::encodeName(Machine::hostPath(macPath)).constData(), X_OK) == 0;
}

// Whether the folder's listing holds exactly this name; a folder that cannot be listed holds
// nothing.
bool listingContains(const QString& folderHost, const QString& name) {
    DirectoryBatchReader reader(folderHost);
    if (reader.status() != DirectoryBatchReader::OpenStatus::Open)
        return false;
    auto batch = std::make_unique<DirectoryBatch>();
    const QByteArray wanted = name.toUtf8();
    DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
    while (result == DirectoryBatchReader::ReadResult::Success) {
        result = reader.readBatch(*batch);
        for (int i = 0; i < batch->count; ++i) {
            const DirectoryEntry& entry = batch->entries[i];
            if (entry.nameLength == wanted.size() &&
                std::memcmp(entry.name, wanted.constData(), entry.nameLength) == 0)
                return true;
        }
    }
    return false;
}

std::function<void(const QString&)>& beforeVerifyHook() {
    static std::function<void(const QString&)> hook;
    return hook;
}

// "<host path>: <reason>" as copyItem says it, with the item as a Mac path.
QString failureText(const QString& error) {
    const qsizetype colon = error.lastIndexOf(QStringLiteral(": "));
    if (colon <= 0)
        return error;
    return Machine::macPath(error.left(colon)) + error.mid(colon);
}

QString withoutExtension(const QString& name) {
    // As a file manager names it: the part after the last dot is the extension, unless the dot
    // starts the name (".profile" has none).
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.left(dot) : name;
}

} // namespace

QString DoCopyFiles::copyFolderName(const QDateTime& now, const QString& fileSystemType) {
    // FAT, ExFAT and NTFS take no ':' in a name; a Mac user knows the dotted time from the
    // names of screen shots.
    const QString type = fileSystemType.toLower();
    const bool noColons = type == QLatin1String("msdos") || type == QLatin1String("exfat") ||
                          type == QLatin1String("ntfs") || type.contains(QLatin1String("fat"));
    const QString pattern =
        noColons ? QStringLiteral("yyyy-MM-dd HH.mm.ss") : QStringLiteral("yyyy-MM-dd HH:mm:ss");
    return QStringLiteral("Tavrill(%1)").arg(now.toString(pattern));
}

QString DoCopyFiles::createCopyFolderWithVolumePath(const QString& volumePath, const QDateTime& now,
                                                    QString* error) {
    const bool startUp = volumePath == QLatin1String("/");
    const QString name = copyFolderName(now, DiskArbitration::fileSystemInfo(volumePath).type);
    QString path = startUp ? QLatin1Char('/') + name : volumePath + QLatin1Char('/') + name;
    QString why;
    if (makeFolderPath(Machine::hostPath(path), &why) && canEnter(path))
        return path;
    if (startUp) {
        // The system volume of a recent Mac is read-only; the Desktop is on the same disk.
        path = QStringLiteral("/Users/%1/Desktop/%2").arg(Machine::userName(), name);
        if (makeFolderPath(Machine::hostPath(path), &why) && canEnter(path))
            return path;
    }
    QvConsoleLog("The copy folder %s cannot be made: %s", qUtf8Printable(path), qUtf8Printable(why));
    if (error)
        *error = why;
    return QString();
}

void DoCopyFiles::startOver(bool resuming) {
    m_isCancel = false;
    m_destinationLost = false;
    m_failedItems = 0;
    m_filesCopied = 0;
    m_bytesCopied = 0;
    m_bytesToCopy = -1;
    m_resuming = resuming;
    std::lock_guard<std::mutex> lock(m_stateLock);
    m_differing.clear();
    m_resumeProblem.clear();
}

void DoCopyFiles::doCopyFilesWithArr(const FileNodeList& nodes, const QString& copyPath) {
    startOver(false);
    m_nodes = nodes;
    m_placedAs.clear();
    m_sizes.clear();
    {
        std::lock_guard<std::mutex> lock(m_stateLock);
        m_copyPath = copyPath;
    }
    ++m_activeRuns;
    std::shared_ptr<DoCopyFiles> self = shared_from_this();
    workerPool()->start([self, nodes] { self->measure(nodes); });
    workerPool()->start([self, nodes, copyPath] {
        self->run(nodes, copyPath);
        std::lock_guard<std::mutex> lock(self->m_waitLock);
        --self->m_activeRuns;
        self->m_wake.notify_all();
    });
}

void DoCopyFiles::run(const FileNodeList& nodes, const QString& copyPath) {
    m_copyHost = Machine::hostPath(copyPath);
    if (!m_resuming && m_verify)
        startReceipt(copyPath);
    const qsizetype count = nodes.size();
    for (qsizetype i = 0; i < count; ++i) {
        if (stopping())
            break;
        if (i == 0)
            reportProgress(5);
        const FileNodeRef& node = nodes[i];
        if (node->state() == 2)
            doCopyFilesWithChiNode(node->children().toList(), copyPath);
        else if (node->state() == 1)
            toCopyFileWithNode(node.data(), copyPath);
        const unsigned percent = unsigned(100 * (i + 1)) / unsigned(count);
        if (percent < 100)
            reportProgress(float(percent <= 5 ? 5 : percent));
    }
    // The selection's walk began with the run, which read every byte the walk counts: it is
    // done or nearly, and the last report carries the total.
    while (m_bytesToCopy < 0 && !stopping())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    reportBytes(true);
    m_receiptFiles = m_receipt.files().size();
    if (m_isCancel || m_abort || count == 0) {
        if (count > 0) {
            m_receipt.addComment(QStringLiteral("Stopped before everything was copied."));
            m_receipt.finish();
        }
        return;
    }
    // A drive pulled out during the last item leaves nothing to say so but the missing folder.
    if (!readItemInfo(Machine::hostPath(copyPath), true).exists)
        m_destinationLost = true;
    // Done only when everything was copied; otherwise the screen says that some was not.
    if (m_destinationLost || m_failedItems > 0) {
        m_receipt.addComment(m_destinationLost
                                 ? QStringLiteral("The destination went away before everything was copied.")
                                 : QStringLiteral("Not everything was copied; see the lines above."));
        m_receipt.finish();
        tellDelegate([](DoCopyFilesDelegate* delegate) { delegate->copyFileError(); });
    } else if (m_verify) {
        verify();
    } else {
        m_receipt.finish();
        reportProgress(100);
    }
}

void DoCopyFiles::startReceipt(const QString& copyPath) {
    if (m_sourceVolume.uuid.isEmpty() && !m_nodes.isEmpty()) {
        const VolumeId found = volumeHolding(m_nodes.first()->path());
        m_sourceVolume.uuid = found.uuid;
        m_sourceVolume.mountPoint = found.mountPoint;
        if (m_sourceVolume.name.isEmpty())
            m_sourceVolume.name = found.name;
    }
    if (m_destinationVolume.uuid.isEmpty() || m_destinationVolume.mountPoint.isEmpty()) {
        const VolumeId found = volumeHolding(copyPath);
        if (m_destinationVolume.uuid.isEmpty())
            m_destinationVolume.uuid = found.uuid;
        m_destinationVolume.mountPoint = found.mountPoint;
        if (m_destinationVolume.name.isEmpty())
            m_destinationVolume.name = found.name;
    }
    const QString version = QvPublicUtilities::getInstallVersion();
    QStringList header{
        QStringLiteral("Tavrill receipt"),
        QStringLiteral("Date: ") +
            QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss t")),
        QStringLiteral("Source: %1 (UUID %2)").arg(m_sourceVolume.name, m_sourceVolume.uuid),
        QStringLiteral("Destination: %1 (UUID %2)").arg(m_destinationVolume.name, m_destinationVolume.uuid),
        QStringLiteral("Tavrill version: ") + (version.isEmpty() ? QStringLiteral("unknown") : version),
        QStringLiteral("Check this copy with: xxhsum -c \"%1\"").arg(CopyReceipt::fileName())};
    for (const QString& text : m_leftOutTexts)
        header << QStringLiteral("Left out: ") + text;
    QString error;
    if (!m_receipt.create(m_copyHost, header, &error))
        QvConsoleLog("The receipt cannot be written: %s", qUtf8Printable(error));
}

bool DoCopyFiles::copyWithReceipt(const QString& sourceHost, const QString& destinationHost, QString* error) {
    ItemCopyControl control;
    control.abort = &m_abort;
    control.cancel = &m_isCancel;
    const std::int64_t filesBefore = m_filesCopied;
    const std::int64_t bytesBefore = m_bytesCopied;
    control.progress = [this, filesBefore, bytesBefore](const ItemCopyProgress& progress) {
        m_filesCopied = filesBefore + progress.files;
        m_bytesCopied = bytesBefore + progress.bytes;
        reportBytes(false);
    };
    if (!m_skipped.isEmpty()) {
        control.skip = [this](const std::string& hostPath) {
            return m_skipped.contains(
                Machine::macPath(QFile::decodeName(QByteArray::fromStdString(hostPath))));
        };
    }
    if (!m_verify)
        return copyItem(sourceHost, destinationHost, error, control);
    // Each file's checksum: from its data as it passes, or else from its source read again,
    // while the source is still fresh in the cache.
    FileChecksum sum;
    QString source;
    QString copy;
    control.fileBegins = [&](const std::string& from, const std::string& to) {
        source = QFile::decodeName(QByteArray::fromStdString(from));
        copy = QFile::decodeName(QByteArray::fromStdString(to));
        sum.reset();
    };
    control.data = [&](const char* data, std::size_t size) { sum.update(data, size); };
    control.fileEnds = [&](bool seenWhole) {
        const std::optional<QString> checksum =
            seenWhole ? std::optional<QString>(sum.hex()) : FileChecksum::ofFile(source, false, &m_abort);
        if (!checksum || !copy.startsWith(m_copyHost + QLatin1Char('/')))
            return;
        const QString relative = copy.mid(m_copyHost.size() + 1);
        m_sizes.insert(relative, QFileInfo(copy).size());
        m_receipt.addFile(relative, *checksum);
    };
    return copyItem(sourceHost, destinationHost, error, control);
}

void DoCopyFiles::noteFailure(const QString& sourceMac, const QString& error) {
    m_receipt.addComment(QStringLiteral("Not copied: ") + (error.isEmpty() ? sourceMac : failureText(error)));
}

void DoCopyFiles::doCopyFilesWithChiNode(const FileNodeList& nodes, const QString& copyPath) {
    for (const FileNodeRef& child : nodes) {
        if (stopping())
            return;
        if (m_skipped.contains(child->path()))
            continue;
        if (child->state() == 2) {
            const QString folder = copyPath + QLatin1Char('/') + child->name();
            QString error;
            if (!makeFolderPath(Machine::hostPath(folder), &error)) {
                // Its ticked items have nowhere to go.
                QvConsoleLog("error--%s", qUtf8Printable(error));
                noteFailure(child->path(), error);
                ++m_failedItems;
                continue;
            }
            doCopyFilesWithChiNode(child->children().toList(), folder);
        } else if (child->state() == 1) {
            toCopyFileWithNode(child.data(), copyPath);
        }
    }
}

void DoCopyFiles::toCopyFileWithNode(const FileNode* node, const QString& copyPath) {
    if (stopping())
        return;
    const QString sourcePath = node->path();
    if (m_skipped.contains(sourcePath))
        return;
    tellDelegate([sourcePath](DoCopyFilesDelegate* delegate) { delegate->topCopyFilePath(sourcePath); });
    const QString name = node->name();
    // A resumed run puts a top-level item where the first run put it.
    const QString placed = m_placedAs.value(sourcePath);
    const QString chosen = !placed.isEmpty() ? placed : createFileWithPath(copyPath, name, name);
    if (!readItemInfo(Machine::hostPath(copyPath), true).exists) {
        // The destination went away (a drive pulled out): nothing more can land there.
        QvConsoleLog("error--%s: the destination folder is gone", qUtf8Printable(copyPath));
        m_destinationLost = true;
        return;
    }
    m_placedAs.insert(sourcePath, chosen);
    const QString sourceHost = Machine::hostPath(sourcePath);
    const QString destinationHost = Machine::hostPath(copyPath + QLatin1Char('/') + chosen);
    if (m_resuming) {
        resumeItem(sourceHost, destinationHost);
        return;
    }
    QString error;
    if (!copyWithReceipt(sourceHost, destinationHost, &error) && !m_abort && !m_isCancel) {
        ++m_failedItems;
        noteFailure(sourcePath, error);
    }
    // Every item ends with this line, "(null)" when the copy went well: the console then shows
    // the run item by item, and a failure stands at its place in it.
    QvConsoleLog("error--%s", qUtf8Printable(error.isEmpty() ? QStringLiteral("(null)") : error));
}

void DoCopyFiles::resumeItem(const QString& sourceHost, const QString& destinationHost) {
    if (stopping() || m_skipped.contains(Machine::macPath(sourceHost)))
        return;
    const ItemInfo source = readItemInfo(sourceHost, false);
    const ItemInfo copy = readItemInfo(destinationHost, false);
    if (!source.exists) {
        ++m_failedItems;
        noteFailure(Machine::macPath(sourceHost), QString());
        return;
    }
    const bool sourceIsFile = !source.isDirectory && !source.isSymbolicLink;
    const bool copyIsFile = copy.exists && !copy.isDirectory && !copy.isSymbolicLink;
    if (source.isDirectory && copy.isDirectory) {
        const QStringList names =
            QDir(sourceHost)
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                           QDir::NoSort);
        for (const QString& entry : names)
            resumeItem(sourceHost + QLatin1Char('/') + entry, destinationHost + QLatin1Char('/') + entry);
        // Adding entries changed the folder's times.
        if (!stopping())
            keepSourceAttributes(sourceHost, destinationHost);
        return;
    }
    if (sourceIsFile && copyIsFile && source.dataLength == copy.dataLength &&
        qAbs(QFileInfo(sourceHost).lastModified().msecsTo(QFileInfo(destinationHost).lastModified())) <
            2000) {
        // Complete: it stays. A file the receipt does not hold yet gets its line.
        const QString relative = destinationHost.mid(m_copyHost.size() + 1);
        if (m_verify && m_receipt.checksumOf(relative).isEmpty()) {
            if (const std::optional<QString> sum = FileChecksum::ofFile(sourceHost, false, &m_abort))
                m_receipt.addFile(relative, *sum);
        }
        m_sizes.insert(relative, std::int64_t(copy.dataLength));
        ++m_filesCopied;
        m_bytesCopied += std::int64_t(copy.dataLength);
        reportBytes(false);
        return;
    }
    if (source.isSymbolicLink && copy.isSymbolicLink) {
        ++m_filesCopied;
        return;
    }
    // Missing, cut short or changed: copied (again).
    if (copy.isDirectory)
        QDir(destinationHost).removeRecursively();
    else if (copy.exists)
        QFile::remove(destinationHost);
    QString error;
    if (!copyWithReceipt(sourceHost, destinationHost, &error) && !m_abort && !m_isCancel) {
        ++m_failedItems;
        noteFailure(Machine::macPath(sourceHost), error);
    }
}

QString DoCopyFiles::createFileWithPath(const QString& copyPath, const QString& fileNormalName,
                                        const QString& fileName) {
    const QString folderHost = Machine::hostPath(copyPath);
    const QString stem = withoutExtension(fileNormalName);
    QString candidate = fileName;
    for (int collisions = 1;; ++collisions) {
        // A name the file system does not find at all is not in the listing either; only when
        // it finds one (on a case-insensitive volume perhaps another case of it) is the listing
        // read for an exact match.
        if (!readItemInfo(folderHost + QLatin1Char('/') + candidate, false).exists)
            return candidate;
        if (!listingContains(folderHost, candidate))
            return candidate;
        candidate = QStringLiteral("%1 %2").arg(stem).arg(collisions);
    }
}

void DoCopyFiles::setBeforeVerify(std::function<void(const QString&)> hook) {
    beforeVerifyHook() = std::move(hook);
}

QString DoCopyFiles::copyPath() const {
    std::lock_guard<std::mutex> lock(m_stateLock);
    return m_copyPath;
}

QString DoCopyFiles::resumeProblem() const {
    std::lock_guard<std::mutex> lock(m_stateLock);
    return m_resumeProblem;
}

QStringList DoCopyFiles::differingFiles() const {
    std::lock_guard<std::mutex> lock(m_stateLock);
    return m_differing;
}

void DoCopyFiles::verify() {
    if (const auto& hook = beforeVerifyHook())
        hook(copyPath());
    const QStringList files = m_receipt.files();
    std::int64_t total = 0;
    for (const QString& file : files)
        total += m_sizes.value(file);
    // Everything written reaches the drive once, before any of it is read back.
    flushVolumeOf(m_copyHost);
    m_bytesToVerify = total;
    m_bytesVerified = 0;
    m_receiptFiles = files.size();
    m_verifying = true;
    tellDelegate([](DoCopyFilesDelegate* delegate) { delegate->topVerifyStarted(); });
    QStringList differing;
    for (const QString& file : files) {
        if (m_isCancel || m_abort)
            break;
        const std::int64_t before = m_bytesVerified;
        // What the drive holds, not what the cache remembers of what was written.
        const std::optional<QString> sum =
            FileChecksum::ofFile(m_copyHost + QLatin1Char('/') + file, true, &m_isCancel,
                                 [this](std::int64_t bytes) { m_bytesVerified += bytes; });
        if (m_isCancel || m_abort)
            break;
        if (!sum || *sum != m_receipt.checksumOf(file))
            differing << file;
        // A file missing or cut short is checked all the same.
        m_bytesVerified = before + m_sizes.value(file);
        reportBytes(false);
    }
    m_receiptBytes = total;
    if (m_isCancel || m_abort) {
        m_verifying = false;
        m_receipt.addComment(QStringLiteral("Verify stopped before every file was read back."));
        m_receipt.finish();
        return;
    }
    if (differing.isEmpty()) {
        m_receipt.addComment(
            QStringLiteral("Verified: all %1 files (%2) read back from the destination match.")
                .arg(files.size())
                .arg(QvPublicUtilities::longlongConvertVolSpace(total)));
    } else {
        m_receipt.addComment(QStringLiteral("Verify failed: %1 of %2 files differ from the source:")
                                 .arg(differing.size())
                                 .arg(files.size()));
        for (const QString& file : differing)
            m_receipt.addComment(QStringLiteral("Differs: ") + file);
    }
    m_receipt.finish();
    {
        std::lock_guard<std::mutex> lock(m_stateLock);
        m_differing = differing;
    }
    if (differing.isEmpty())
        reportProgress(100);
    else
        tellDelegate([](DoCopyFilesDelegate* delegate) { delegate->copyFileError(); });
    m_verifying = false;
}

DoCopyFiles::VolumeId DoCopyFiles::volumeHolding(const QString& macPath) {
    VolumeId found;
    for (const QString& mount : DiskArbitration::mountedLocalVolumePaths()) {
        const bool holds =
            mount == QLatin1String("/") || macPath == mount || macPath.startsWith(mount + QLatin1Char('/'));
        if (holds && mount.size() >= found.mountPoint.size())
            found.mountPoint = mount;
    }
    if (found.mountPoint.isEmpty())
        return found;
    VolumeEnumerator tool;
    if (const std::optional<QVariantMap> info = tool.getDisjInfo(found.mountPoint.toUtf8().constData())) {
        found.name = info->value(QStringLiteral("VolumeName")).toString();
        found.uuid = info->value(QStringLiteral("VolumeUUID")).toString();
    }
    return found;
}

QString DoCopyFiles::mountPointOfVolume(const QString& uuid) {
    if (uuid.isEmpty())
        return QString();
    VolumeEnumerator tool;
    for (const QString& mount : DiskArbitration::mountedLocalVolumePaths()) {
        const std::optional<QVariantMap> info = tool.getDisjInfo(mount.toUtf8().constData());
        if (info &&
            info->value(QStringLiteral("VolumeUUID")).toString().compare(uuid, Qt::CaseInsensitive) == 0)
            return mount;
    }
    return QString();
}

void DoCopyFiles::resume() {
    if (!canResume())
        return;
    startOver(true);
    ++m_activeRuns;
    std::shared_ptr<DoCopyFiles> self = shared_from_this();
    workerPool()->start([self] {
        if (self->findVolumesAgain()) {
            const FileNodeList nodes = self->m_nodes;
            workerPool()->start([self, nodes] { self->measure(nodes); });
            self->run(nodes, self->copyPath());
        } else {
            self->tellDelegate([](DoCopyFilesDelegate* delegate) { delegate->copyFileError(); });
        }
        std::lock_guard<std::mutex> lock(self->m_waitLock);
        --self->m_activeRuns;
        self->m_wake.notify_all();
    });
}

bool DoCopyFiles::findVolumesAgain() {
    // A volume known by UUID must be mounted again; one the disk tool gave no UUID for is
    // taken to be where it was.
    QString problem;
    const bool destinationKnown = !m_destinationVolume.uuid.isEmpty();
    const bool sourceKnown = !m_sourceVolume.uuid.isEmpty();
    const QString destination =
        destinationKnown ? mountPointOfVolume(m_destinationVolume.uuid) : m_destinationVolume.mountPoint;
    const QString source = sourceKnown ? mountPointOfVolume(m_sourceVolume.uuid) : m_sourceVolume.mountPoint;
    QString copy = copyPath();
    if (destinationKnown && destination.isEmpty()) {
        problem = QStringLiteral("The destination drive \u201c%1\u201d is not connected.")
                      .arg(m_destinationVolume.name);
    } else if (sourceKnown && source.isEmpty()) {
        problem =
            QStringLiteral("The source drive \u201c%1\u201d is not connected.").arg(m_sourceVolume.name);
    } else if (source != m_sourceVolume.mountPoint) {
        // The selection names the source's items by where they were.
        problem =
            QStringLiteral("The source drive \u201c%1\u201d came back at another place; start a new copy.")
                .arg(m_sourceVolume.name);
    } else {
        // The destination may be back under another name: the folder is found on it by UUID.
        const QString old = m_destinationVolume.mountPoint;
        if (destination != old && !old.isEmpty() && old != QLatin1String("/") &&
            copy.startsWith(old + QLatin1Char('/')))
            copy = destination + copy.mid(old.size());
        m_destinationVolume.mountPoint = destination;
        if (!readItemInfo(Machine::hostPath(copy), true).isDirectory)
            problem = QStringLiteral("The copy\u2019s folder is no longer on \u201c%1\u201d.")
                          .arg(m_destinationVolume.name);
    }
    std::lock_guard<std::mutex> lock(m_stateLock);
    m_resumeProblem = problem;
    if (!problem.isEmpty())
        return false;
    m_copyPath = copy;
    m_copyHost = Machine::hostPath(copy);
    if (!m_verify)
        return true;
    m_receipt.moveTo(m_copyHost);
    m_receipt.addComment(QStringLiteral("Resumed: ") +
                         QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss t")));
    return true;
}

void DoCopyFiles::abort() {
    std::lock_guard<std::mutex> lock(m_waitLock);
    m_isCancel = true;
    m_abort = true;
    m_wake.notify_all();
}

bool DoCopyFiles::waitForRuns(int ms) {
    std::unique_lock<std::mutex> lock(m_waitLock);
    return m_wake.wait_for(lock, std::chrono::milliseconds(ms), [this] { return m_activeRuns == 0; });
}

template <typename Fn> void DoCopyFiles::tellDelegate(Fn fn) {
    if (m_abort)
        return;
    // The delegate is read on the main thread only, where the screen sets and clears it; the
    // run waits for the answer unless an abort releases it first.
    auto done = std::make_shared<bool>(false);
    std::shared_ptr<DoCopyFiles> self = shared_from_this();
    auto call = [self, fn, done] {
        if (!self->m_abort) {
            if (DoCopyFilesDelegate* delegate = self->m_delegate)
                fn(delegate);
        }
        std::lock_guard<std::mutex> lock(self->m_waitLock);
        *done = true;
        self->m_wake.notify_all();
    };
    if (isMainThread()) {
        call();
        return;
    }
    if (!QCoreApplication::instance())
        return;
    onMain(std::move(call));
    std::unique_lock<std::mutex> lock(m_waitLock);
    m_wake.wait(lock, [this, &done] { return *done || m_abort; });
}

void DoCopyFiles::reportProgress(float percent) {
    tellDelegate([percent](DoCopyFilesDelegate* delegate) { delegate->topCopyProgress(percent); });
}

void DoCopyFiles::reportBytes(bool force) {
    const std::int64_t now = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now().time_since_epoch())
                                 .count();
    if (m_abort || (!force && now - m_lastBytesReportMs < 100) || !QCoreApplication::instance())
        return;
    // The copy does not wait for this one: it would be held up by every redraw. One at a time
    // is on its way, and it carries the figures of the moment it is delivered.
    if (m_bytesReportPending.exchange(true))
        return;
    m_lastBytesReportMs = now;
    std::shared_ptr<DoCopyFiles> self = shared_from_this();
    onMain([self] {
        self->m_bytesReportPending = false;
        if (self->m_abort)
            return;
        if (DoCopyFilesDelegate* delegate = self->m_delegate)
            delegate->topCopyBytes(self->m_bytesCopied, self->m_bytesToCopy);
    });
}

void DoCopyFiles::measure(const FileNodeList& nodes) {
    // What the run will copy: ticked items whole, half-selected folders walked into, less what
    // is left out.
    std::int64_t total = 0;
    QSet<QString> skippedAsNodes;
    const std::function<void(const FileNodeList&)> add = [&](const FileNodeList& level) {
        for (const FileNodeRef& node : level) {
            if (m_abort)
                return;
            if (m_skipped.contains(node->path()))
                skippedAsNodes.insert(node->path());
            else if (node->state() == 1)
                total += std::int64_t(GetFilesSize::getFileSizeWithPat(node->path(), 0, &m_abort));
            else if (node->state() == 2)
                add(node->children().toList());
        }
    };
    add(nodes);
    // The rest was left out from inside a wholly ticked folder, whose walk counted it; an item
    // inside another one left out went with it.
    for (const QString& skipped : m_skipped) {
        if (skippedAsNodes.contains(skipped))
            continue;
        bool withAnother = false;
        for (qsizetype slash = skipped.lastIndexOf(QLatin1Char('/')); slash > 0 && !withAnother;
             slash = skipped.lastIndexOf(QLatin1Char('/'), slash - 1))
            withAnother = m_skipped.contains(skipped.left(slash));
        if (!withAnother)
            total -= std::int64_t(GetFilesSize::getFileSizeWithPat(skipped, 0, &m_abort));
    }
    if (m_abort)
        return;
    m_bytesToCopy = total;
    reportBytes(true);
}
