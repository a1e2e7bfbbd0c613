#include "filecopy/EumeRoot.h"

#include "core/MainThread.h"
#include "core/WorkerPool.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/Machine.h"

#include <QElapsedTimer>
#include <QMutexLocker>
#include <QThreadPool>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

namespace {

// Entries listed by full-tree listings over the life of the process; never reset.
std::atomic<int> fullTreeEntryCount{0};

struct ListedName {
    std::string name; // UTF-8, as the file system gives it
    bool isDirectory; // following a link
    quint64 dataLength;
};

// Names dropped from the top level of a scan (exact, case-sensitive).
constexpr std::string_view kSkippedNames[] = {".DS_Store",  ".Trashes",        ".Trash",   ".vol",
                                              ".fseventsd", ".Spotlight-V100", ".Volumes", ".Volume"};

bool isSkipped(std::string_view name) {
    return std::find(std::begin(kSkippedNames), std::end(kSkippedNames), name) != std::end(kSkippedNames);
}

// The names directly inside a folder with their types and lengths, in the file system's order;
// a folder that cannot be listed (or stops being listable part way) gives what was read.
std::vector<ListedName> listFolder(const QString& macPath, bool dropSkipped,
                                   const std::atomic<bool>* stop = nullptr) {
    std::vector<ListedName> names;
    const QString host = Machine::hostPath(macPath);
    DirectoryBatchReader reader(host);
    if (reader.status() != DirectoryBatchReader::OpenStatus::Open)
        return names;
    auto batch = std::make_unique<DirectoryBatch>();
    const QString hostPrefix = host.endsWith(QLatin1Char('/')) ? host : host + QLatin1Char('/');
    DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
    while (result == DirectoryBatchReader::ReadResult::Success && !(stop && *stop)) {
        result = reader.readBatch(*batch);
        for (int i = 0; i < batch->count; ++i) {
            const DirectoryEntry& entry = batch->entries[i];
            std::string name(entry.name, entry.nameLength);
            if (dropSkipped && isSkipped(name))
                continue;
            bool isDirectory = entry.isDirectory;
            if (entry.isSymbolicLink) // the folder test follows links; the size does not
                isDirectory = readItemInfo(hostPrefix + entry.nameString(), true).isDirectory;
            names.push_back({std::move(name), isDirectory, entry.dataLength});
        }
    }
    return names;
}

// "%@/%@" of a folder and a name in UTF-8; with rootSpecialCase a folder of exactly "/" gives
// "/name".
std::string joined(const std::string& folder, const std::string& name, bool rootSpecialCase) {
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    if (!(rootSpecialCase && folder == "/"))
        path += folder;
    path += '/';
    path += name;
    return path;
}

// The node of an entry listed in folder. With a base (a node whose path is folder) the node
// keeps only what its path adds to the base's.
FileNodeRef nodeFor(const FileNode* base, const std::string& folder, const ListedName& entry,
                    bool rootSpecialCase) {
    const std::string path = joined(folder, entry.name, rootSpecialCase);
    std::string_view suffix(path);
    if (base)
        suffix.remove_prefix(folder.size());
    return FileNode::fromListing(base, suffix, std::uint32_t(entry.name.size()), entry.isDirectory);
}

QString lastComponent(const QString& path) {
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? path : path.mid(slash + 1);
}

// The one node a file path gives where a folder would give its listing.
FileNodeRef singleFileNode(const QString& path) {
    return FileNode::initWithPath(path, lastComponent(path), false, nullptr);
}

// A file path given as the root: its node, sized without following a link, takes its place by
// size in the top-level array.
void addSingleFileRoot(const FileNodeArrayRef& array, const QString& path) {
    FileNodeRef node = singleFileNode(path);
    node->setSize(NodeTreeOperator::getOneFileSizeWithPath(path));
    if (array->isEmpty())
        array->append(node);
    else
        array->insertBySize(node);
}

// The start both top-level listings share: true when path is a folder whose listing is to
// follow. A file is placed in the array as its one node instead; a missing path, or no array,
// gives nothing.
bool beginRootListing(const FileNodeArrayRef& array, const QString& path) {
    if (!array)
        return false;
    const ItemInfo info = readItemInfo(Machine::hostPath(path), true);
    if (!info.exists)
        return false;
    if (!info.isDirectory) {
        addSingleFileRoot(array, path);
        return false;
    }
    return true;
}

} // namespace

EumeRoot::~EumeRoot() = default;

bool EumeRoot::isSkippedName(const QString& name) {
    return isSkipped(name.toStdString());
}

void EumeRoot::setEumeDelegate(EumeRootDelegate* delegate) {
    m_eumeDelegate = delegate;
}

void EumeRoot::setRootNodeArr(const FileNodeArrayRef& rootArr) {
    QMutexLocker lock(&m_lock);
    m_rootNodeArr = rootArr;
}

FileNodeArrayRef EumeRoot::rootNodeArr() const {
    QMutexLocker lock(&m_lock);
    return m_rootNodeArr;
}

void EumeRoot::sendToDelegate(void (EumeRootDelegate::*operation)()) {
    if (isMainThread()) {
        if (EumeRootDelegate* delegate = m_eumeDelegate)
            (delegate->*operation)();
        return;
    }
    // The delegate is looked up when the post runs, so an owner that cleared it in between
    // (or went away after clearing it) hears nothing.
    std::shared_ptr<EumeRoot> self = shared_from_this();
    onMain([self, operation] {
        if (EumeRootDelegate* delegate = self->m_eumeDelegate)
            (delegate->*operation)();
    });
}

void EumeRoot::eumeAllRootFileNodeWithRootArr(const FileNodeArrayRef& rootArr, const QString& path) {
    setRootNodeArr(rootArr);
    auto treeOperator = std::make_shared<NodeTreeOperator>();
    treeOperator->setOpDelegate(this);
    {
        QMutexLocker lock(&m_lock);
        m_treeOperator = treeOperator;
    }
    m_allFileCount = 0;
    m_eumeFileCount = 0;
    m_isStopScan = false;
    m_isPauseScan = false;
    m_isScanDone = false;
    std::shared_ptr<EumeRoot> self = shared_from_this();
    workerPool()->start([self, path] { self->eumeRootListNode(path); });
}

void EumeRoot::eumeRootListNode(const QString& path) {
    struct MarkDone {
        std::atomic<bool>& done;
        ~MarkDone() { done = true; }
    } markDone{m_isScanDone};
    const FileNodeArrayRef array = rootNodeArr();
    if (!beginRootListing(array, path))
        return;

    const std::vector<ListedName> names = listFolder(path, true, &m_isStopScan);
    m_allFileCount = int(names.size());

    // Nodes are handed to the shared array in groups rather than one by one: a single insert
    // into a large array moves half of it, which makes a listing of 100,000 files quadratic.
    // A group is merged once it is half as large as the array or 50 ms old, so the list still
    // sees the top level grow; the order is the one single inserts give. The progress counts
    // the entries that are in the array.
    FileNodeList files;
    FileNodeList folders;
    QElapsedTimer sinceFlush;
    sinceFlush.start();
    qsizetype arraySize = array->count();
    auto flush = [&] {
        const int handled = int(files.size() + folders.size());
        for (const FileNodeRef& folder : std::as_const(folders))
            array->append(folder);
        array->insertAllBySize(files);
        arraySize += handled;
        files.clear();
        folders.clear();
        m_eumeFileCount += handled;
        sinceFlush.restart();
    };
    const std::string folder = path.toStdString();
    // The listed folder's own node, shown nowhere: the top-level nodes continue its path.
    const FileNodeRef base = FileNode::initWithPath(path, QString(), true, nullptr);
    for (const ListedName& entry : names) {
        if (m_isStopScan)
            break;
        FileNodeRef node = nodeFor(base.data(), folder, entry, true);
        if (entry.isDirectory) {
            folders.append(node);
        } else {
            node->setSize(entry.dataLength);
            files.append(node);
        }
        const qsizetype pending = files.size() + folders.size();
        if (pending >= qMax<qsizetype>(64, arraySize / 2) || sinceFlush.elapsed() >= 50)
            flush();
    }
    flush();
    // Done before the screen hears of the end, so a screen asking in its callback sees it.
    m_isScanDone = true;
    if (!m_isStopScan)
        sendToDelegate(&EumeRootDelegate::endScan);
}

std::optional<FileNodeList> EumeRoot::listChildrenOfPath(const QString& path, const std::atomic<bool>* stop,
                                                         const FileNode* folderNode) {
    const ItemInfo info = readItemInfo(Machine::hostPath(path), true);
    if (!info.exists)
        return std::nullopt;
    FileNodeList children;
    if (!info.isDirectory) {
        FileNodeRef child = singleFileNode(path);
        child->setSize(info.dataLength);
        children.append(child);
        return children;
    }
    const std::vector<ListedName> names = listFolder(path, false, stop);
    children.reserve(qsizetype(names.size()));
    const std::string folder = path.toStdString();
    for (const ListedName& entry : names) {
        FileNodeRef child = nodeFor(folderNode, folder, entry, false);
        child->setSize(entry.isDirectory ? 0 : entry.dataLength);
        children.append(child);
    }
    return children;
}

void EumeRoot::adoptChildren(FileNode* father, const FileNodeList& children) {
    const qint64 fatherState = father->state();
    for (const FileNodeRef& child : children) {
        if (fatherState == 0 || fatherState == 1)
            child->setState(fatherState);
        child->setFather(father);
    }
    if (father->children().isEmpty()) {
        father->setChildren(children); // in one step: a folder can hold a hundred thousand
        return;
    }
    for (const FileNodeRef& child : children)
        father->children().append(child);
}

void EumeRoot::getNodeListWithFaterNode(FileNode* node) {
    if (!node)
        return;
    const std::optional<FileNodeList> children = listChildrenOfPath(node->path(), nullptr, node);
    if (!children)
        return;
    m_allFileCount = int(children->size());
    adoptChildren(node, *children);
    sendToDelegate(&EumeRootDelegate::endEumeNode);
}

void EumeRoot::getRootNodeListWithPath(const QString& path) {
    std::shared_ptr<NodeTreeOperator> treeOperator;
    {
        QMutexLocker lock(&m_lock);
        if (!m_treeOperator) {
            m_treeOperator = std::make_shared<NodeTreeOperator>();
            m_treeOperator->setOpDelegate(this);
        }
        treeOperator = m_treeOperator;
    }
    std::shared_ptr<EumeRoot> self = shared_from_this();
    workerPool()->start([self, treeOperator, path] {
        const FileNodeArrayRef array = self->rootNodeArr();
        if (!beginRootListing(array, path))
            return;
        const std::vector<ListedName> names = listFolder(path, false);
        self->m_allFileCount = int(names.size());
        const std::string folder = path.toStdString();
        const FileNodeRef base = FileNode::initWithPath(path, QString(), true, nullptr);
        for (const ListedName& entry : names) {
            if (self->m_isStopScan)
                return;
            FileNodeRef node = nodeFor(base.data(), folder, entry, false);
            if (entry.isDirectory) {
                node->setSize(0);
                array->append(node);
                node->setSize(treeOperator->getFileSizeWithPat(node->path(), node.data(), 0));
            } else {
                node->setSize(entry.dataLength);
                if (array->isEmpty())
                    array->append(node);
                else
                    self->insertFileInRootArrWithFile(node);
            }
            if (++fullTreeEntryCount == int(names.size()))
                self->sendToDelegate(&EumeRootDelegate::endScan);
            ++self->m_eumeFileCount;
        }
    });
}

void EumeRoot::insertFileInRootArrWithFile(const FileNodeRef& node) {
    if (const FileNodeArrayRef array = rootNodeArr())
        array->insertBySize(node);
}

void EumeRoot::doRootArrSort() {
    if (const FileNodeArrayRef array = rootNodeArr())
        array->sortBySize();
}

float EumeRoot::getProgress() const {
    const int all = m_allFileCount;
    if (all < 1)
        return 0.0f;
    return float(m_eumeFileCount * 100.0 / all);
}

void EumeRoot::stopScan() {
    m_isStopScan = true;
    QMutexLocker lock(&m_lock);
    if (m_treeOperator)
        m_treeOperator->stopScan();
}
