#include "filecopy/NodeTreeOperator.h"

#include "core/MainThread.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/Machine.h"

#include <memory>

quint64 NodeTreeOperator::getOneFileSizeWithPath(const QString& path) {
    return readItemInfo(Machine::hostPath(path), false).dataLength;
}

quint64 NodeTreeOperator::getFileSizeWithPat(const QString& path, FileNode* root, quint64 totailSize) {
    DirectoryBatchReader reader(Machine::hostPath(path));
    if (reader.status() == DirectoryBatchReader::OpenStatus::NotAFolder) {
        // A file given as the folder: its own length counts.
        const ItemInfo info = readItemInfo(Machine::hostPath(path), false);
        return info.exists ? totailSize + info.dataLength : totailSize;
    }
    if (reader.status() != DirectoryBatchReader::OpenStatus::Open)
        return totailSize;

    auto batch = std::make_unique<DirectoryBatch>();
    const QString prefix = path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
    quint64 sum = totailSize;
    DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
    while (result == DirectoryBatchReader::ReadResult::Success && !m_isStopScan) {
        result = reader.readBatch(*batch);
        if (result == DirectoryBatchReader::ReadResult::Error)
            break;
        for (int i = 0; i < batch->count && !m_isStopScan; ++i) {
            const DirectoryEntry& entry = batch->entries[i];
            const QString name = entry.nameString();
            const QString fullPath = prefix + name;
            if (entry.isDirectory) {
                FileNodeRef child = FileNode::initWithPath(fullPath, name, true, root);
                child->setSize(0);
                if (root->children().isEmpty())
                    root->children().append(child);
                else
                    fileInsertFatherWithRootArr(root->children(), child);
                const quint64 sub = getFileSizeWithPat(fullPath, child.data(), totailSize);
                sum += sub;
                child->setSize(sub);
                rootArrSortWithRootArr(root->children());
            } else {
                sum += entry.dataLength;
                FileNodeRef child = FileNode::initWithPath(fullPath, name, false, root);
                child->setSize(entry.dataLength);
                if (root->children().isEmpty())
                    root->children().append(child);
                else
                    fileInsertFatherWithRootArr(root->children(), child);
            }
            sortFatherSizeWithRootFileNode(root, sum);
        }
    }
    return sum;
}

void NodeTreeOperator::sortFatherSizeWithRootFileNode(FileNode* node, quint64 totailSize) {
    node->setSize(totailSize);
    if (FileNode* father = node->father()) {
        rootArrSortWithRootArr(father->children());
    } else if (NodeTreeOperatorDelegate* delegate = m_opDelegate.load()) {
        onMainSync([delegate] { delegate->doRootArrSort(); });
    }
}

void NodeTreeOperator::rootArrSortWithRootArr(FileNodeArray& array) {
    if (array.isEmpty())
        return;
    onMainSync([&array] { array.sortBySize(); });
}

void NodeTreeOperator::fileInsertFatherWithRootArr(FileNodeArray& array, const FileNodeRef& node) {
    onMainSync([&array, &node] { array.insertBySize(node); });
}
