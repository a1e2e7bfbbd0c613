#include "filecopy/Controller.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/WorkerPool.h"

#include <QMutex>
#include <QMutexLocker>
#include <QThreadPool>

namespace {

QMutex actionsLock;
Controller::PathAction revealAction;
Controller::PathAction openAction;

void runAction(bool reveal, const QString& path) {
    Controller::PathAction action;
    {
        QMutexLocker lock(&actionsLock);
        action = reveal ? revealAction : openAction;
    }
    if (action)
        action(path);
    else
        QvConsoleLog("no file viewer to %s %s", reveal ? "reveal" : "open", qUtf8Printable(path));
}

} // namespace

Controller::~Controller() {
    for (const std::weak_ptr<EumeRoot>& made : m_madeRoots) {
        if (std::shared_ptr<EumeRoot> root = made.lock()) {
            root->setEumeDelegate(nullptr);
            root->stopScan();
        }
    }
    if (m_nodeListings) {
        m_nodeListings->stop = true;
        m_nodeListings->controller = nullptr;
    }
}

std::shared_ptr<EumeRoot> Controller::makeEumeRoot() {
    std::erase_if(m_madeRoots, [](const std::weak_ptr<EumeRoot>& made) { return made.expired(); });
    std::shared_ptr<EumeRoot> root = EumeRoot::create();
    root->setEumeDelegate(this);
    m_madeRoots.push_back(root);
    return root;
}

void Controller::eumeAllRootFileNodeWithRootArr(const FileNodeArrayRef& rootArr, const QString& rootPath,
                                                bool copyAll, bool copyFiles) {
    m_isCopyAllFiles = copyAll;
    m_isCopyFiles = copyFiles;
    m_eumeRoot = makeEumeRoot();
    m_eumeRoot->eumeAllRootFileNodeWithRootArr(rootArr, rootPath);
    m_aRootArr = rootArr;
}

void Controller::endScan() {
    if (!m_isCopyAllFiles)
        return;
    ControllerDelegate* delegate = m_aDelegate;
    if (!delegate)
        return;
    if (m_isCopyFiles)
        delegate->copyFileScanFiles();
    else
        delegate->endScanFiles();
}

void Controller::getNodeListWithFaterNode(FileNode* node) {
    if (!node)
        return;
    if (!m_nodeListings) {
        m_nodeListings = std::make_shared<NodeListings>();
        m_nodeListings->controller = this;
    }
    ++m_pendingNodeListings;
    const FileNodeRef held(node);
    const std::shared_ptr<NodeListings> listings = m_nodeListings;
    workerPool()->start([held, listings] {
        std::optional<FileNodeList> children =
            EumeRoot::listChildrenOfPath(held->path(), &listings->stop, held.data());
        onMain([held, listings, children = std::move(children)] {
            Controller* controller = listings->controller;
            if (!controller)
                return; // the Controller is gone
            --controller->m_pendingNodeListings;
            if (listings->stop || !children)
                return; // stopped, or the path is missing: nothing to say
            controller->attachChildren(held, *children);
        });
    });
}

void Controller::attachChildren(const FileNodeRef& node, const FileNodeList& children) {
    if (!node->children().isEmpty())
        return; // listed twice (expanded again before the first listing came back)
    ControllerDelegate* delegate = m_aDelegate;
    if (delegate)
        delegate->childrenWillBeAdded(node.data(), children.size());
    EumeRoot::adoptChildren(node.data(), children);
    if (delegate)
        delegate->childrenAdded(node.data());
    endEumeNode();
}

void Controller::endEumeNode() {
    reloadTree();
}

void Controller::stopScan() {
    if (m_eumeRoot)
        m_eumeRoot->stopScan();
    if (m_nodeListings) {
        // Listings under way are dropped; later ones start on a fresh flag.
        m_nodeListings->stop = true;
        m_nodeListings->controller = nullptr;
        m_nodeListings.reset();
        m_pendingNodeListings = 0;
    }
}

float Controller::getProgress() const {
    return m_eumeRoot ? m_eumeRoot->getProgress() : 0.0f;
}

bool Controller::isScanDone() const {
    return m_eumeRoot && m_eumeRoot->isScanDone();
}

void Controller::setFileViewerActions(PathAction reveal, PathAction open) {
    QMutexLocker lock(&actionsLock);
    revealAction = std::move(reveal);
    openAction = std::move(open);
}

void Controller::openFileWithFileNode(const FileNode* node) {
    if (!node || node->path().isEmpty())
        return;
    runAction(true, node->path());
}

void Controller::pereviewFileWithFileNode(const FileNode* node) {
    if (!node || node->path().isEmpty())
        return;
    runAction(false, node->path());
}

// ---- selection rules

void Controller::changeSelectWithNode(FileNode* node, bool selectState) {
    changeChildrenFilNodeStateWithFileNode(node, selectState);
    changeSelectAllButtonState();
    reloadTree();
}

void Controller::changeChildrenFilNodeStateWithFileNode(FileNode* node, bool selectState) {
    if (!node)
        return;
    node->setState(selectState ? 1 : 0);
    if (selectState) {
        if (!m_selectedOneByOne.contains(node)) {
            m_selectedOneByOne.insert(node);
            m_selectNodeArr.append(FileNodeRef(node));
        }
    } else if (m_selectedOneByOne.remove(node)) {
        m_selectNodeArr.removeAll(node);
    }
    if (!node->isDirectory())
        return;
    for (const FileNodeRef& child : node->children().toList()) {
        child->setState(selectState ? 1 : 0);
        if (child->isDirectory() && node->isExpand())
            changeSelectWithNode(child.data(), selectState);
    }
}

void Controller::changeFatherNodeSelectStateWithFileNode(FileNode* node, bool selectState) {
    if (!node)
        return;
    if (FileNode* father = node->father()) {
        const FileNodeList siblings = father->children().toList();
        qsizetype selected = 0;
        bool anyHalf = false;
        for (const FileNodeRef& child : siblings) {
            if (child->state() == 1)
                ++selected;
            else if (child->state() == 2)
                anyHalf = true;
        }
        if (selected == siblings.size())
            father->setState(1);
        else
            father->setState((anyHalf || selected != 0) ? 2 : 0);
        if (father->father())
            changeFatherNodeSelectStateWithFileNode(father, selectState);
    }
    changeSelectAllButtonState();
    reloadTree();
}

void Controller::selectAllFileNode(bool selectState) {
    if (m_aRootArr) {
        for (const FileNodeRef& node : m_aRootArr->toList()) {
            node->setState(selectState ? 1 : 0);
            if (node->isExpand())
                changeSelectWithNode(node.data(), selectState);
        }
    }
    changeSelectAllButtonState();
    reloadTree();
}

void Controller::changeSelectAllButtonState() {
    if (ControllerDelegate* delegate = m_aDelegate)
        delegate->changeSelectAllButtonState();
}

void Controller::reloadTree() {
    if (ControllerDelegate* delegate = m_aDelegate)
        delegate->reloadTreeList();
}
