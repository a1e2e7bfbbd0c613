#include "filecopy/GetFilesSize.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/QvPublicUtilities.h"
#include "core/WorkerPool.h"
#include "filecopy/NodeTreeOperator.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/Machine.h"

#include <QFile>
#include <QThread>
#include <QThreadPool>

#include <condition_variable>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

// Helpers a walk starts beside its own thread once it has folders to hand out. Reading the
// entries' lengths waits on the disk's catalogue (or, cached, on the kernel), so several folders
// read at once finish sooner on drives that serve requests in parallel, and no later on those
// that do not.
int walkHelpers() {
    return qBound(0, QThread::idealThreadCount() - 1, 3);
}

// A walk over the folders below a top folder, shared by the threads that take part: each takes
// a folder, adds its files' lengths and leaves its sub-folders for whichever thread is free.
class FolderWalk {
public:
    explicit FolderWalk(const std::atomic<bool>* stop) : m_stop(stop) {}

    // Adds the entries of an open folder; its sub-folders are left for run.
    void readFolder(DirectoryBatchReader& reader, const std::string& hostPath, DirectoryBatch& batch) {
        std::vector<std::string> folders;
        quint64 bytes = 0;
        DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
        while (result == DirectoryBatchReader::ReadResult::Success && !stopped()) {
            result = reader.readBatch(batch);
            if (result == DirectoryBatchReader::ReadResult::Error)
                break;
            for (int i = 0; i < batch.count; ++i) {
                const DirectoryEntry& entry = batch.entries[i];
                if (entry.isDirectory) // a real folder, never a link
                    folders.push_back(hostPath + '/' + std::string(entry.name, entry.nameLength));
                else
                    bytes += entry.dataLength;
            }
        }
        m_bytes += bytes;
        m_folders += folders.size();
        std::lock_guard<std::mutex> lock(m_lock);
        for (std::string& folder : folders)
            m_pending.push_back(std::move(folder));
        if (!folders.empty())
            m_wake.notify_all();
    }

    // Takes part until no folder is left and none is being read; the calling thread also
    // starts the helpers, once there are folders to hand out, and waits for them.
    void run() {
        takePart(true);
        for (std::thread& helper : m_helpers)
            helper.join();
    }

    quint64 bytes() const { return m_bytes; }
    // Folders found below the top one, readable or not.
    quint64 folders() const { return m_folders; }

private:
    bool stopped() const { return m_stop && *m_stop; }

    void takePart(bool caller) {
        auto batch = std::make_unique<DirectoryBatch>();
        std::unique_lock<std::mutex> lock(m_lock);
        for (;;) {
            if (caller && m_pending.size() > 1 && int(m_helpers.size()) < walkHelpers()) {
                try {
                    m_helpers.emplace_back([this] { takePart(false); });
                } catch (const std::system_error&) {
                    // no thread to be had: the threads there are do the walk
                }
            }
            m_wake.wait(lock, [this] { return !m_pending.empty() || m_reading == 0; });
            if (m_pending.empty() || stopped()) {
                m_pending.clear();
                m_wake.notify_all(); // nothing left: the others end too
                return;
            }
            const std::string folder = std::move(m_pending.back());
            m_pending.pop_back();
            ++m_reading;
            lock.unlock();
            DirectoryBatchReader reader(QFile::decodeName(QByteArray::fromStdString(folder)));
            if (reader.status() == DirectoryBatchReader::OpenStatus::Open)
                readFolder(reader, folder, *batch);
            lock.lock();
            if (--m_reading == 0 && m_pending.empty())
                m_wake.notify_all();
        }
    }

    const std::atomic<bool>* m_stop;
    std::atomic<quint64> m_bytes{0};
    std::atomic<quint64> m_folders{0};
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::vector<std::string> m_pending; // host paths, depth first
    int m_reading = 0;
    std::vector<std::thread> m_helpers;
};

} // namespace

quint64 GetFilesSize::getOneFileSizeWithPath(const QString& path) {
    return NodeTreeOperator::getOneFileSizeWithPath(path);
}

quint64 GetFilesSize::getFileSizeWithPat(const QString& path, quint64 totailSize,
                                         const std::atomic<bool>* stop) {
    const QString host = Machine::hostPath(path);
    DirectoryBatchReader reader(host);
    if (reader.status() == DirectoryBatchReader::OpenStatus::NotAFolder) {
        const ItemInfo info = readItemInfo(host, false);
        return info.exists ? totailSize + info.dataLength : totailSize;
    }
    if (reader.status() != DirectoryBatchReader::OpenStatus::Open)
        return totailSize;
    // Each folder's own walk starts from the incoming total, so the total counts once per
    // folder: the top one and every one below it.
    FolderWalk walk(stop);
    auto batch = std::make_unique<DirectoryBatch>();
    walk.readFolder(reader, QFile::encodeName(host).toStdString(), *batch);
    walk.run();
    return totailSize * (1 + walk.folders()) + walk.bytes();
}

void GetFilesSize::getAllFilesSizeWithArr(const FileNodeList& nodes) {
    m_allFileSize = 0;
    std::shared_ptr<GetFilesSize> self = shared_from_this();
    workerPool()->start([self, nodes] { self->runPass(nodes); });
}

void GetFilesSize::getSelectionSizeWithArr(const FileNodeList& nodes) {
    std::shared_ptr<GetFilesSize> self = shared_from_this();
    workerPool()->start([self, nodes] {
        const quint64 total = self->selectionSize(nodes);
        self->m_allFileSize = total;
        self->report(total);
    });
}

void GetFilesSize::cancelPass() {
    m_isPassCancelled = true;
}

void GetFilesSize::runPass(const FileNodeList& nodes) {
    for (const FileNodeRef& node : nodes) {
        if (m_isPassCancelled)
            return;
        switch (node->state()) {
        case 2:
            getAllFilesSizeWithArr(node->children().toList());
            break;
        case 1:
            m_allFileSize +=
                node->isDirectory() ? getFileSizeWithPat(node->path(), 0, &m_isPassCancelled) : node->size();
            break;
        default:
            break;
        }
    }
    report(m_allFileSize);
}

quint64 GetFilesSize::selectionSize(const FileNodeList& nodes) const {
    quint64 total = 0;
    for (const FileNodeRef& node : nodes) {
        if (m_isPassCancelled)
            break;
        switch (node->state()) {
        case 2:
            total += selectionSize(node->children().toList());
            break;
        case 1:
            total += node->isDirectory() ? wholeFolderSize(*node) : node->size();
            break;
        default:
            break;
        }
    }
    return total;
}

quint64 GetFilesSize::wholeFolderSize(const FileNode& folder) const {
    // A listing adopts all its entries at once, so a folder with children has them all; one
    // without them is unlisted or empty, and the disk tells which.
    if (folder.children().isEmpty())
        return getFileSizeWithPat(folder.path(), 0, &m_isPassCancelled);
    quint64 total = 0;
    for (const FileNodeRef& child : folder.children().toList()) {
        if (m_isPassCancelled)
            break;
        total += child->isDirectory() ? wholeFolderSize(*child) : child->size();
    }
    return total;
}

void GetFilesSize::report(quint64 total) {
    if (m_isPassCancelled)
        return;
    QvConsoleLog("---%llu | %s", static_cast<unsigned long long>(total),
                 qUtf8Printable(QvPublicUtilities::longlongDiskSize(qint64(total))));
    std::shared_ptr<GetFilesSize> self = shared_from_this();
    onMain([self, total] {
        if (self->m_isPassCancelled)
            return;
        if (GetFilesSizeDelegate* delegate = self->m_delegate)
            delegate->allCopyFilesSize(qint64(total));
    });
}
