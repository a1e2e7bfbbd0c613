#include "filecopy/FileNode.h"

#include "filecopy/SystemFolder.h"

#include <QMutexLocker>

#include <algorithm>

// ---- FileNodeArray

namespace {

// True when a belongs before b in a largest-first order.
bool largerThan(const FileNodeRef& a, const FileNodeRef& b) {
    return a->size() > b->size();
}

} // namespace

qsizetype FileNodeArray::count() const {
    QMutexLocker lock(&m_lock);
    return qsizetype(m_items.size());
}

FileNodeRef FileNodeArray::at(qsizetype index) const {
    QMutexLocker lock(&m_lock);
    if (index < 0 || size_t(index) >= m_items.size())
        return FileNodeRef();
    return m_items[size_t(index)];
}

FileNodeList FileNodeArray::toList() const {
    QMutexLocker lock(&m_lock);
    return FileNodeList(m_items.begin(), m_items.end());
}

bool FileNodeArray::contains(const FileNode* node) const {
    QMutexLocker lock(&m_lock);
    return std::any_of(m_items.begin(), m_items.end(),
                       [node](const FileNodeRef& n) { return n.data() == node; });
}

void FileNodeArray::setList(const FileNodeList& nodes) {
    std::vector<FileNodeRef> items(nodes.begin(), nodes.end());
    QMutexLocker lock(&m_lock);
    m_items.swap(items);
    // the old items are released after the lock, below
    lock.unlock();
}

void FileNodeArray::clear() {
    std::vector<FileNodeRef> old;
    QMutexLocker lock(&m_lock);
    m_items.swap(old);
    lock.unlock();
}

void FileNodeArray::append(const FileNodeRef& node) {
    QMutexLocker lock(&m_lock);
    m_items.push_back(node);
}

void FileNodeArray::removeAll(const FileNode* node) {
    QMutexLocker lock(&m_lock);
    std::erase_if(m_items, [node](const FileNodeRef& n) { return n.data() == node; });
}

void FileNodeArray::insertBySize(const FileNodeRef& node) {
    const quint64 size = node->size();
    QMutexLocker lock(&m_lock);
    const auto place = std::partition_point(m_items.begin(), m_items.end(),
                                            [size](const FileNodeRef& n) { return n->size() > size; });
    m_items.insert(place, node);
}

void FileNodeArray::insertAllBySize(const FileNodeList& nodes) {
    if (nodes.isEmpty())
        return;
    // Single inserts put a node before every equal one already there, so among the new nodes
    // the later comes first: reverse, then a stable sort keeps that among equals.
    std::vector<FileNodeRef> incoming(nodes.rbegin(), nodes.rend());
    std::stable_sort(incoming.begin(), incoming.end(), largerThan);
    QMutexLocker lock(&m_lock);
    std::vector<FileNodeRef> merged;
    merged.reserve(m_items.size() + incoming.size());
    auto old = m_items.begin();
    for (FileNodeRef& node : incoming) {
        const quint64 size = node->size();
        while (old != m_items.end() && (*old)->size() > size)
            merged.push_back(std::move(*old++));
        merged.push_back(std::move(node));
    }
    std::move(old, m_items.end(), std::back_inserter(merged));
    m_items.swap(merged);
}

void FileNodeArray::sortBySize() {
    QMutexLocker lock(&m_lock);
    std::sort(m_items.begin(), m_items.end(), largerThan);
}

// ---- FileNode

FileNode::FileNode(const QString& path, const QString& name, bool isDirectory, FileNode* father)
    : m_father(father), m_isDirectory(isDirectory) {
    setText(path, name);
}

FileNodeRef FileNode::fromListing(std::string pathUtf8, std::uint32_t nameLength, bool isDirectory,
                                  FileNode* father) {
    FileNodeRef node(new FileNode(QString(), QString(), isDirectory, father));
    node->m_pathLength = std::uint32_t(pathUtf8.size());
    node->m_nameOffset = node->m_pathLength - qMin(nameLength, node->m_pathLength);
    node->m_text = std::move(pathUtf8);
    return node;
}

FileNode::~FileNode() {
    // Children that someone else still holds must not point at a parent that is gone.
    for (const FileNodeRef& child : m_children.toList()) {
        FileNode* self = this;
        child->m_father.compare_exchange_strong(self, nullptr);
    }
}

void FileNode::setText(const QString& path, const QString& name) {
    const QByteArray p = path.toUtf8();
    const QByteArray n = name.toUtf8();
    const bool nameIsTail =
        p.endsWith(n) && (n.size() == p.size() || n.isEmpty() || p.at(p.size() - n.size() - 1) == '/');
    std::string text(p.constData(), size_t(p.size()));
    m_pathLength = std::uint32_t(p.size());
    if (nameIsTail) {
        m_nameOffset = std::uint32_t(p.size() - n.size());
    } else {
        text.push_back('\0');
        m_nameOffset = std::uint32_t(text.size());
        text.append(n.constData(), size_t(n.size()));
    }
    text.shrink_to_fit();
    m_text.swap(text);
}

QString FileNode::name() const {
    return QString::fromUtf8(m_text.data() + m_nameOffset, qsizetype(m_text.size() - m_nameOffset));
}

void FileNode::setName(const QString& name) {
    setText(path(), name);
}

QString FileNode::path() const {
    return QString::fromUtf8(m_text.data(), qsizetype(m_pathLength));
}

void FileNode::setPath(const QString& path) {
    setText(path, name());
}

bool FileNode::isSystemFile() const {
    return SystemFolder::isSystemFileWithFilePath(path());
}

QString FileNode::displayName() const {
    // The last path component, as a path ending in "/" has none after it: "/a/b/" gives "b".
    QString p = path();
    while (p.size() > 1 && p.endsWith(QLatin1Char('/')))
        p.chop(1);
    const qsizetype slash = p.lastIndexOf(QLatin1Char('/'));
    return (slash < 0 || p.size() == 1) ? p : p.mid(slash + 1);
}

void FileNode::setCheckBoxRect(const QRectF& rect) {
    m_checkBox[0] = float(rect.x());
    m_checkBox[1] = float(rect.y());
    m_checkBox[2] = float(rect.width());
    m_checkBox[3] = float(rect.height());
}

int FileNode::compareSize(const FileNode& other) const {
    const quint64 mine = size();
    const quint64 theirs = other.size();
    return mine > theirs ? -1 : (mine < theirs ? 1 : 0);
}

void FileNode::decendingSort() const {
    FileNodeList sorted = m_children.toList();
    std::sort(sorted.begin(), sorted.end(),
              [](const FileNodeRef& a, const FileNodeRef& b) { return a->compareSize(*b) < 0; });
    for (const FileNodeRef& child : sorted)
        child->decendingSort();
}
