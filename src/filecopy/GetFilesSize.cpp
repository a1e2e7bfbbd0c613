#include "filecopy/GetFilesSize.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/QvPublicUtilities.h"
#include "core/WorkerPool.h"
#include "filecopy/NodeTreeOperator.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/Machine.h"

#include <QThreadPool>

#include <string>
#include <vector>

namespace {

// The walk below an open folder. Sub-folders are opened relative to their parent, so no path
// is built or looked up per entry. A folder entry adds its own walk started from incoming, as
// the walk by path does.
quint64 sumFolder(DirectoryBatchReader& reader, quint64 incoming, DirectoryBatch& batch,
                  const std::atomic<bool>* stop) {
    quint64 sum = incoming;
    DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
    while (result == DirectoryBatchReader::ReadResult::Success && !(stop && *stop)) {
        result = reader.readBatch(batch);
        if (result == DirectoryBatchReader::ReadResult::Error)
            break;
        // Sub-folders are walked after the batch, so one batch buffer serves the whole walk.
        std::vector<std::string> folders;
        for (int i = 0; i < batch.count; ++i) {
            const DirectoryEntry& entry = batch.entries[i];
            if (entry.isDirectory)
                folders.emplace_back(entry.name, entry.nameLength);
            else
                sum += entry.dataLength;
        }
        for (const std::string& name : folders) {
            DirectoryBatchReader sub(reader, name.c_str());
            // A folder that cannot be opened adds what an unreadable walk answers: incoming.
            sum += sub.status() == DirectoryBatchReader::OpenStatus::Open
                       ? sumFolder(sub, incoming, batch, stop)
                       : incoming;
        }
    }
    return sum;
}

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
    auto batch = std::make_unique<DirectoryBatch>();
    return sumFolder(reader, totailSize, *batch, stop);
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
            total +=
                node->isDirectory() ? getFileSizeWithPat(node->path(), 0, &m_isPassCancelled) : node->size();
            break;
        default:
            break;
        }
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
