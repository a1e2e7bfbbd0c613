#pragma once

#include "filecopy/FileNode.h"

#include <QString>

#include <atomic>

class NodeTreeOperatorDelegate {
public:
    virtual ~NodeTreeOperatorDelegate() = default;
    // Re-sort the top-level array of the scan: a top-level folder's size has changed.
    virtual void doRootArrSort() = 0;
};

// Reads single file sizes for the listings, and builds the subtree below a node while it
// measures it: every children array stays largest-first and the sizes grow up the tree entry
// by entry, so a list drawing the tree shows sizes and order live.
//
// Every reordering of an array happens on the main thread, which the walking thread waits
// for; the list therefore never sees an array reordered in the middle of drawing it.
class NodeTreeOperator {
public:
    NodeTreeOperator() = default;

    // The data length of the item itself (a link is not followed); 0 for a folder or when the
    // item cannot be read. path is a Mac path.
    static quint64 getOneFileSizeWithPath(const QString& path);

    // Builds R's subtree below the folder at path and answers totailSize plus the data length
    // of every file below it (folders add nothing of their own, links count as themselves,
    // hidden entries count). A file path answers totailSize plus its own length. Stops after
    // the entry in progress once stopScan was called, leaving what was built in place.
    quint64 getFileSizeWithPat(const QString& path, FileNode* root, quint64 totailSize);

    // Gives node its size, then re-sorts the array it sits in: its father's children, or for a
    // top-level node the scan's array through the delegate.
    void sortFatherSizeWithRootFileNode(FileNode* node, quint64 totailSize);

    // Largest-first, on the main thread (waiting for it). Equal sizes keep no particular order.
    static void rootArrSortWithRootArr(FileNodeArray& array);
    // Inserts before the first element not larger than node, on the main thread (waiting).
    static void fileInsertFatherWithRootArr(FileNodeArray& array, const FileNodeRef& node);

    void stopScan() { m_isStopScan = true; }
    bool isStopScan() const { return m_isStopScan; }

    void setOpDelegate(NodeTreeOperatorDelegate* delegate) { m_opDelegate = delegate; }
    NodeTreeOperatorDelegate* opDelegate() const { return m_opDelegate; }

private:
    std::atomic<bool> m_isStopScan{false};
    std::atomic<NodeTreeOperatorDelegate*> m_opDelegate{nullptr};
};
