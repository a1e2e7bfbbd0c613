#pragma once

#include "filecopy/FileNode.h"
#include "filecopy/NodeTreeOperator.h"

#include <QMutex>
#include <QString>

#include <atomic>
#include <memory>
#include <optional>

// Both arrive on the main thread, never while the EumeRoot holds a lock, so a delegate may
// call back into it (stop it, clear the delegate) from inside either.
class EumeRootDelegate {
public:
    virtual ~EumeRootDelegate() = default;
    virtual void endScan() = 0;     // the top-level listing is complete
    virtual void endEumeNode() = 0; // an on-demand folder listing is complete
};

// Turns a volume (or any folder) into the top-level node array the file list shows and the
// copy and image engines consume: the top level in the background, a folder's children on
// demand, or the whole tree measured.
//
// An EumeRoot is shared: a listing running in the background holds it, so the owner may drop
// or replace it while the listing finishes filling the array it was given. The delegate is
// set, cleared and called on the main thread only: a background listing posts its end there,
// and a delegate cleared before the post is run hears nothing.
class EumeRoot : public NodeTreeOperatorDelegate, public std::enable_shared_from_this<EumeRoot> {
public:
    static std::shared_ptr<EumeRoot> create() { return std::shared_ptr<EumeRoot>(new EumeRoot); }
    ~EumeRoot() override;

    // Names dropped from the top level of a scan (exact, case-sensitive).
    static bool isSkippedName(const QString& name);

    // Fills rootArr with the top level of path on the worker pool; see eumeRootListNode.
    void eumeAllRootFileNodeWithRootArr(const FileNodeArrayRef& rootArr, const QString& path);
    // The top-level listing (runs on the calling thread; eumeAllRootFileNodeWithRootArr runs it
    // in the background). Files come first, largest first; folders follow in listing order with
    // size 0. A file path gives one node and no endScan; a missing path gives nothing at all.
    // stopScan ends it after the entry in progress, without endScan.
    void eumeRootListNode(const QString& path);
    // Lists a folder node's direct children into its children array, synchronously, in listing
    // order, all entries kept; the children take the node's selection (unless it is 2).
    void getNodeListWithFaterNode(FileNode* node);
    // The children the on-demand listing gives a node, without attaching them: their father
    // and their states are left for the caller, who adopts them with adoptChildren. Safe on any
    // thread. Answers nothing for a missing path; stop, when set, cuts the listing short.
    // folderNode, when given, is a node whose path is path: the children continue its path.
    static std::optional<FileNodeList> listChildrenOfPath(const QString& path,
                                                          const std::atomic<bool>* stop = nullptr,
                                                          const FileNode* folderNode = nullptr);
    // Gives listed children their father and the father's selection (unless it is 2) and
    // appends them to its children array.
    static void adoptChildren(FileNode* father, const FileNodeList& children);
    // Lists path into the array (set with eumeAllRootFileNodeWithRootArr or setRootNodeArr) on
    // the worker pool, measuring every top-level folder with the subtree walk. Ends with
    // endScan only while the process-wide count of entries listed this way equals this
    // listing's count, i.e. for the first such listing of a process.
    void getRootNodeListWithPath(const QString& path);

    void insertFileInRootArrWithFile(const FileNodeRef& node);
    void doRootArrSort() override;

    // Percent of the entries of the current listing handled: 0 before the count is known.
    float getProgress() const;
    // True once the current top-level listing has ended in any way: listed to the end, a
    // single file, a missing path, or stopped.
    bool isScanDone() const { return m_isScanDone; }
    void pauseScan() { m_isPauseScan = !m_isPauseScan; }
    void stopScan();

    void setEumeDelegate(EumeRootDelegate* delegate);
    void setRootNodeArr(const FileNodeArrayRef& rootArr);
    FileNodeArrayRef rootNodeArr() const;
    int allFileCount() const { return m_allFileCount; }
    int eumeFileCount() const { return m_eumeFileCount; }
    bool isStopScan() const { return m_isStopScan; }
    bool isPauseScan() const { return m_isPauseScan; }

private:
    EumeRoot() = default;
    // Calls the delegate on the main thread: at once when already there, else posted.
    void sendToDelegate(void (EumeRootDelegate::*operation)());

    mutable QMutex m_lock; // guards the array reference and the tree operator
    FileNodeArrayRef m_rootNodeArr;
    EumeRootDelegate* m_eumeDelegate = nullptr; // main thread only
    std::shared_ptr<NodeTreeOperator> m_treeOperator;
    std::atomic<int> m_allFileCount{0};
    std::atomic<int> m_eumeFileCount{0};
    std::atomic<bool> m_isStopScan{false};
    std::atomic<bool> m_isPauseScan{false};
    std::atomic<bool> m_isScanDone{false};
};
