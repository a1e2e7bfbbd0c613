#include "filecopy/FileNode.h"

#include "filecopy/SystemFolder.h"

#include <QHash>
#include <QMutexLocker>

#include <algorithm>
#include <cstring>
#include <iterator>

// ---- FileNodeArray

namespace {

// True when a belongs before b in a largest-first order.
bool largerThan(const FileNodeRef& a, const FileNodeRef& b) {
    return a->size() > b->size();
}

} // namespace

// Locks shared by address: a node's array costs no lock of its own. No operation holds one while
// it takes another or lets a node go (a node going lets its own children go), so sharing one
// between arrays cannot deadlock.
QMutex& FileNodeArray::lock() const {
    static QMutex locks[64];
    return locks[(reinterpret_cast<std::uintptr_t>(this) >> 4) % 64];
}

FileNodeArray::~FileNodeArray() = default;

FileNodeArray::Items& FileNodeArray::items() {
    if (!m_items)
        m_items = std::make_unique<Items>();
    return *m_items;
}

FileNodeArray::Items FileNodeArray::takeItems() {
    Items old;
    if (m_items)
        old.swap(*m_items);
    return old;
}

qsizetype FileNodeArray::count() const {
    QMutexLocker locker(&lock());
    return m_items ? qsizetype(m_items->size()) : 0;
}

FileNodeRef FileNodeArray::at(qsizetype index) const {
    QMutexLocker locker(&lock());
    if (!m_items || index < 0 || size_t(index) >= m_items->size())
        return FileNodeRef();
    return (*m_items)[size_t(index)];
}

FileNodeList FileNodeArray::toList() const {
    QMutexLocker locker(&lock());
    return m_items ? FileNodeList(m_items->begin(), m_items->end()) : FileNodeList();
}

bool FileNodeArray::contains(const FileNode* node) const {
    QMutexLocker locker(&lock());
    return m_items && std::any_of(m_items->begin(), m_items->end(),
                                  [node](const FileNodeRef& n) { return n.data() == node; });
}

void FileNodeArray::setList(const FileNodeList& nodes) {
    Items fresh(nodes.begin(), nodes.end());
    QMutexLocker locker(&lock());
    items().swap(fresh);
    locker.unlock();
    // the old items are let go here, after the lock
}

void FileNodeArray::clear() {
    QMutexLocker locker(&lock());
    Items old = takeItems();
    locker.unlock();
}

void FileNodeArray::append(const FileNodeRef& node) {
    QMutexLocker locker(&lock());
    items().push_back(node);
}

void FileNodeArray::removeAll(const FileNode* node) {
    Items removed;
    QMutexLocker locker(&lock());
    if (!m_items)
        return;
    const auto kept = std::stable_partition(m_items->begin(), m_items->end(),
                                            [node](const FileNodeRef& n) { return n.data() != node; });
    std::move(kept, m_items->end(), std::back_inserter(removed));
    m_items->erase(kept, m_items->end());
    locker.unlock();
}

void FileNodeArray::insertBySize(const FileNodeRef& node) {
    const quint64 size = node->size();
    QMutexLocker locker(&lock());
    Items& list = items();
    const auto place = std::partition_point(list.begin(), list.end(),
                                            [size](const FileNodeRef& n) { return n->size() > size; });
    list.insert(place, node);
}

void FileNodeArray::insertAllBySize(const FileNodeList& nodes) {
    if (nodes.isEmpty())
        return;
    // Single inserts put a node before every equal one already there, so among the new nodes
    // the later comes first: reverse, then a stable sort keeps that among equals.
    Items incoming(nodes.rbegin(), nodes.rend());
    std::stable_sort(incoming.begin(), incoming.end(), largerThan);
    Items merged;
    QMutexLocker locker(&lock());
    Items& list = items();
    merged.reserve(list.size() + incoming.size());
    auto old = list.begin();
    for (FileNodeRef& node : incoming) {
        const quint64 size = node->size();
        while (old != list.end() && (*old)->size() > size)
            merged.push_back(std::move(*old++));
        merged.push_back(std::move(node));
    }
    std::move(old, list.end(), std::back_inserter(merged));
    list.swap(merged);
}

void FileNodeArray::sortBySize() {
    QMutexLocker locker(&lock());
    if (m_items)
        std::sort(m_items->begin(), m_items->end(), largerThan);
}

// ---- FileNode

// What few nodes need beyond their text, kept beside them: an entry exists only while one of
// its fields differs from the default.
struct FileNode::Extras {
    bool hasOverride = false;
    QString path; // with hasOverride: the path and the name set later
    QString name;
    QRectF checkBox;
    qint32 buttonState = 0;

    bool isEmpty() const { return !hasOverride && checkBox == QRectF() && buttonState == 0; }
};

namespace {

QMutex extrasLock;

// Bounds the name's length and whether it is the text's tail: such a name costs nothing.
bool nameIsTail(std::string_view text, std::string_view name) {
    return name.size() <= 0xffff && text.size() >= name.size() &&
           text.substr(text.size() - name.size()) == name;
}

} // namespace

QHash<const FileNode*, FileNode::Extras>& FileNode::extrasTable() {
    static QHash<const FileNode*, FileNode::Extras> table;
    return table;
}

template <typename Change> void FileNode::changeExtras(Change change) {
    QMutexLocker locker(&extrasLock);
    QHash<const FileNode*, Extras>& table = extrasTable();
    Extras& extras = table[this];
    change(extras);
    const bool keep = !extras.isEmpty();
    const bool hasOverride = extras.hasOverride;
    if (!keep)
        table.remove(this);
    // Under the lock, so that flags and table agree for readers that take it.
    std::uint8_t flags = m_flags.load(std::memory_order_relaxed);
    std::uint8_t wanted;
    do {
        wanted = std::uint8_t((flags & ~(kExtras | kOverride)) | (keep ? kExtras : 0) |
                              (hasOverride ? kOverride : 0));
    } while (
        !m_flags.compare_exchange_weak(flags, wanted, std::memory_order_release, std::memory_order_relaxed));
}

template <typename Read> auto FileNode::readExtras(Read read) const {
    QMutexLocker locker(&extrasLock);
    const QHash<const FileNode*, Extras>& table = extrasTable();
    const auto found = table.constFind(this);
    return read(found == table.cend() ? Extras() : *found);
}

FileNode::FileNode(const FileNode* base, std::uint32_t textLength, std::uint32_t nameLength, bool isDirectory,
                   FileNode* father)
    : m_father(father), m_base(base), m_textLength(textLength), m_nameLength(std::uint16_t(nameLength)),
      m_flags(isDirectory ? kDirectory : 0) {
    if (m_base)
        m_base->m_textHolds.fetch_add(1, std::memory_order_relaxed);
}

FileNode::~FileNode() = default;

FileNodeRef FileNode::make(const FileNode* base, std::string_view text, std::uint32_t nameLength,
                           bool isDirectory, FileNode* father) {
    void* memory = ::operator new(sizeof(FileNode) + text.size());
    auto* node = new (memory) FileNode(base, std::uint32_t(text.size()), nameLength, isDirectory, father);
    std::memcpy(static_cast<char*>(memory) + sizeof(FileNode), text.data(), text.size());
    return FileNodeRef(node);
}

FileNodeRef FileNode::fromListing(const FileNode* base, std::string_view suffix, std::uint32_t nameLength,
                                  bool isDirectory, FileNode* father) {
    nameLength = std::min<std::uint32_t>(nameLength, std::uint32_t(suffix.size()));
    if (base && base->hasFlag(kOverride)) {
        // The base's path was set later: build on the path it has now, as a whole.
        const QByteArray path = base->pathUtf8() + QByteArray(suffix.data(), qsizetype(suffix.size()));
        return fromListing(nullptr, std::string_view(path.constData(), size_t(path.size())), nameLength,
                           isDirectory, father);
    }
    if (nameLength > 0xffff) {
        FileNodeRef node = make(base, suffix, 0, isDirectory, father);
        node->setName(
            QString::fromUtf8(suffix.substr(suffix.size() - nameLength).data(), qsizetype(nameLength)));
        return node;
    }
    return make(base, suffix, nameLength, isDirectory, father);
}

FileNodeRef FileNode::initWithPath(const QString& path, const QString& name, bool isDirectory,
                                   FileNode* father) {
    const QByteArray p = path.toUtf8();
    const QByteArray n = name.toUtf8();
    std::string_view text(p.constData(), size_t(p.size()));
    const FileNode* base = nullptr;
    if (father && !father->hasFlag(kOverride)) {
        const QByteArray fatherPath = father->builtPath();
        if (p.size() > fatherPath.size() && p.startsWith(fatherPath)) {
            base = father;
            text.remove_prefix(size_t(fatherPath.size()));
        }
    }
    const std::string_view nameText(n.constData(), size_t(n.size()));
    if (nameIsTail(text, nameText))
        return make(base, text, std::uint32_t(nameText.size()), isDirectory, father);
    FileNodeRef node = make(base, text, 0, isDirectory, father);
    node->setOverride(path, name);
    return node;
}

void FileNode::operator delete(FileNode* node, std::destroying_delete_t) {
    // Children someone else still holds must not point at a parent that is gone.
    {
        const FileNodeList children = node->m_children.toList();
        for (const FileNodeRef& child : children) {
            FileNode* self = node;
            child->m_father.compare_exchange_strong(self, nullptr);
        }
        node->m_children.clear();
    }
    if (node->hasFlag(kExtras)) {
        QMutexLocker locker(&extrasLock);
        extrasTable().remove(node);
    }
    releaseText(node);
}

void FileNode::releaseText(const FileNode* node) {
    // Freeing a node's memory lets go of its base's text, which may free that one in turn.
    while (node && node->m_textHolds.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        const FileNode* base = node->m_base;
        node->~FileNode();
        ::operator delete(const_cast<FileNode*>(node));
        node = base;
    }
}

QByteArray FileNode::builtPath() const {
    // The chain from this node up to the first without a base, then its texts in order.
    const FileNode* stack[64];
    std::vector<const FileNode*> deep;
    int depth = 0;
    qsizetype length = 0;
    for (const FileNode* n = this; n; n = n->m_base) {
        length += n->m_textLength;
        if (depth < 64)
            stack[depth++] = n;
        else
            deep.push_back(n);
    }
    QByteArray path(length, Qt::Uninitialized);
    char* out = path.data();
    for (auto it = deep.rbegin(); it != deep.rend(); ++it) {
        std::memcpy(out, (*it)->text(), (*it)->m_textLength);
        out += (*it)->m_textLength;
    }
    while (depth > 0) {
        const FileNode* n = stack[--depth];
        std::memcpy(out, n->text(), n->m_textLength);
        out += n->m_textLength;
    }
    return path;
}

std::string_view FileNode::builtName() const {
    return std::string_view(text() + (m_textLength - m_nameLength), m_nameLength);
}

void FileNode::setFlag(Flag flag, bool value) {
    if (value)
        m_flags.fetch_or(flag, std::memory_order_relaxed);
    else
        m_flags.fetch_and(std::uint8_t(~flag), std::memory_order_relaxed);
}

void FileNode::setOverride(const QString& path, const QString& name) {
    changeExtras([&](Extras& extras) {
        extras.hasOverride = true;
        extras.path = path;
        extras.name = name;
    });
}

QString FileNode::name() const {
    if (hasFlag(kOverride))
        return readExtras([](const Extras& extras) { return extras.name; });
    const std::string_view n = builtName();
    return QString::fromUtf8(n.data(), qsizetype(n.size()));
}

void FileNode::setName(const QString& name) {
    setOverride(path(), name);
}

QString FileNode::path() const {
    if (hasFlag(kOverride))
        return readExtras([](const Extras& extras) { return extras.path; });
    return QString::fromUtf8(builtPath());
}

QByteArray FileNode::pathUtf8() const {
    if (hasFlag(kOverride))
        return readExtras([](const Extras& extras) { return extras.path.toUtf8(); });
    return builtPath();
}

void FileNode::setPath(const QString& path) {
    setOverride(path, name());
}

qint32 FileNode::isButtonState() const {
    if (!hasFlag(kExtras))
        return 0;
    return readExtras([](const Extras& extras) { return extras.buttonState; });
}

void FileNode::setIsButtonState(qint32 value) {
    if (value != 0 || hasFlag(kExtras))
        changeExtras([value](Extras& extras) { extras.buttonState = value; });
}

QRectF FileNode::checkBoxRect() const {
    if (!hasFlag(kExtras))
        return QRectF();
    return readExtras([](const Extras& extras) { return extras.checkBox; });
}

void FileNode::setCheckBoxRect(const QRectF& rect) {
    if (rect != QRectF() || hasFlag(kExtras))
        changeExtras([&rect](Extras& extras) { extras.checkBox = rect; });
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
