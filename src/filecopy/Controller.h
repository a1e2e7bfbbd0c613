#pragma once

#include "filecopy/EumeRoot.h"
#include "filecopy/FileNode.h"

#include <QSet>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

// What a screen hears from its Controller. Every operation is optional (empty by default).
// Everything arrives on the main thread, and never while an engine holds a lock.
class ControllerDelegate {
public:
    virtual ~ControllerDelegate() = default;
    virtual void reloadTreeList() {}
    // A folder's children, listed in the background, are about to be attached to it (count
    // of them), and have been. A list model brackets its row insertion with these.
    virtual void childrenWillBeAdded(FileNode* /*node*/, qsizetype /*count*/) {}
    virtual void childrenAdded(FileNode* /*node*/) {}
    virtual void changeSelectAllButtonState() {}
    virtual void endScanFiles() {}      // a copy-all scan for a disk image is complete
    virtual void copyFileScanFiles() {} // a copy-all scan for a file copy is complete
    virtual void changeProgressWithPoint(int /*percent*/, const QString& /*path*/) {}
};

// The object a file list or a copy screen talks to: it starts listings, owns the selection
// rules of the tree and turns the listing's callbacks into the screen's. It lives on the main
// thread. Destroying it stops every listing it started; none calls back afterwards.
class Controller : public EumeRootDelegate {
public:
    Controller() = default;
    ~Controller() override;
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    // Starts the top-level listing of rootPath into rootArr with a fresh EumeRoot (a listing
    // still running on the previous one keeps filling its own array). copyAll and copyFiles
    // decide what endScan becomes: copyFileScanFiles (true, true), endScanFiles (true, false)
    // or nothing (false, false: the file list polls getProgress instead).
    void eumeAllRootFileNodeWithRootArr(const FileNodeArrayRef& rootArr, const QString& rootPath,
                                        bool copyAll, bool copyFiles);
    void endScan() override;
    // Lists a folder node's children in the background and attaches them on the main thread
    // (childrenWillBeAdded, childrenAdded, then a reload): the children take the node's
    // selection as it is when they arrive. A node that has children by then keeps them.
    void getNodeListWithFaterNode(FileNode* node);
    void endEumeNode() override;
    // Stops the top-level listing and drops the on-demand listings under way.
    void stopScan();
    float getProgress() const;
    // True once the current top-level listing has ended (also stopped, a file or a missing
    // path); false while it runs and before any.
    bool isScanDone() const;
    // On-demand listings started and not yet attached or dropped.
    int pendingNodeListings() const { return m_pendingNodeListings; }

    // Reveal a node in the file viewer, or open it. The screens install the platform's way of
    // doing so with setFileViewerActions; without it the request is logged and dropped.
    void openFileWithFileNode(const FileNode* node);
    void pereviewFileWithFileNode(const FileNode* node);
    using PathAction = std::function<void(const QString& path)>;
    static void setFileViewerActions(PathAction reveal, PathAction open);

    // Selection rules. A click on a checkbox calls changeSelectWithNode and then
    // changeFatherNodeSelectStateWithFileNode for the same node. They run on the main thread.
    void changeSelectWithNode(FileNode* node, bool selectState);
    // Sets the node to 1 or 0 and its children to the same; walks on into a child folder only
    // while the node is expanded (children of a collapsed folder keep their own children's
    // states).
    void changeChildrenFilNodeStateWithFileNode(FileNode* node, bool selectState);
    // Recomputes the father from its children (all 1: 1; some 1 or any 2: 2; else 0) and climbs
    // to the top.
    void changeFatherNodeSelectStateWithFileNode(FileNode* node, bool selectState);
    void selectAllFileNode(bool selectState);
    void changeSelectAllButtonState();
    void reloadTree();

    void setADelegate(ControllerDelegate* delegate) { m_aDelegate = delegate; }
    ControllerDelegate* aDelegate() const { return m_aDelegate; }
    FileNodeArrayRef aRootArr() const { return m_aRootArr; }
    void setARootArr(const FileNodeArrayRef& rootArr) { m_aRootArr = rootArr; }
    const FileNodeArray& selectNodeArr() const { return m_selectNodeArr; }
    std::shared_ptr<EumeRoot> eumeRoot() const { return m_eumeRoot; }
    bool isCopyAllFiles() const { return m_isCopyAllFiles; }
    bool isCopyFiles() const { return m_isCopyFiles; }
    bool isStopRemove() const { return m_isStopRemove; }
    void setIsStopRemove(bool value) { m_isStopRemove = value; }

private:
    std::shared_ptr<EumeRoot> makeEumeRoot();
    void attachChildren(const FileNodeRef& node, const FileNodeList& children);

    // What a background on-demand listing holds of its Controller: a way to learn, back on
    // the main thread, whether the Controller is still there, and a flag that cuts it short.
    struct NodeListings {
        Controller* controller; // cleared by the Controller's destructor (main thread)
        std::atomic<bool> stop{false};
    };
    std::shared_ptr<NodeListings> m_nodeListings;
    int m_pendingNodeListings = 0;
    // Members of selectNodeArr, for constant-time membership tests.
    QSet<const FileNode*> m_selectedOneByOne;

    FileNodeArrayRef m_aRootArr;
    FileNodeArray m_selectNodeArr;
    std::shared_ptr<EumeRoot> m_eumeRoot;
    // Every EumeRoot this controller made, so that none calls back after it is gone.
    std::vector<std::weak_ptr<EumeRoot>> m_madeRoots;
    std::atomic<ControllerDelegate*> m_aDelegate{nullptr};
    std::atomic<bool> m_isStopRemove{false};
    std::atomic<bool> m_isCopyAllFiles{false};
    std::atomic<bool> m_isCopyFiles{false};
};
