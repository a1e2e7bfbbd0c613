#include "filecopy/DoCopyFiles.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/WorkerPool.h"
#include "filecopy/GetFilesSize.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/DiskArbitration.h"
#include "platform/ItemCopy.h"
#include "platform/Machine.h"

#include <QDir>
#include <QFile>
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

void DoCopyFiles::doCopyFilesWithArr(const FileNodeList& nodes, const QString& copyPath) {
    m_isCancel = false;
    m_destinationLost = false;
    m_failedItems = 0;
    m_filesCopied = 0;
    m_bytesCopied = 0;
    m_bytesToCopy = -1;
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
    if (m_isCancel || m_abort || count == 0)
        return;
    // A drive pulled out during the last item leaves nothing to say so but the missing folder.
    if (!readItemInfo(Machine::hostPath(copyPath), true).exists)
        m_destinationLost = true;
    // Done only when everything was copied; otherwise the screen says that some was not.
    if (m_destinationLost || m_failedItems > 0)
        tellDelegate([](DoCopyFilesDelegate* delegate) { delegate->copyFileError(); });
    else
        reportProgress(100);
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
    const QString chosen = createFileWithPath(copyPath, name, name);
    if (!readItemInfo(Machine::hostPath(copyPath), true).exists) {
        // The destination went away (a drive pulled out): nothing more can land there.
        QvConsoleLog("error--%s: the destination folder is gone", qUtf8Printable(copyPath));
        m_destinationLost = true;
        return;
    }
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
    QString error;
    if (!copyItem(Machine::hostPath(sourcePath), Machine::hostPath(copyPath + QLatin1Char('/') + chosen),
                  &error, control) &&
        !m_abort && !m_isCancel)
        ++m_failedItems;
    // Every item ends with this line, "(null)" when the copy went well: the console then shows
    // the run item by item, and a failure stands at its place in it.
    QvConsoleLog("error--%s", qUtf8Printable(error.isEmpty() ? QStringLiteral("(null)") : error));
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
