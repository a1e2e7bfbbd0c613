#pragma once

#include <QExplicitlySharedDataPointer>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QRectF>
#include <QSharedData>
#include <QString>

#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

class FileNode;

// Nodes are shared: a tree is read by the list on the main thread while a listing, a size pass
// or a copy run holds parts of it on a background thread. A node lives as long as anyone holds
// a reference; a parent holds its children.
using FileNodeRef = QExplicitlySharedDataPointer<FileNode>;
// A snapshot of an array, taken by the passes that walk it.
using FileNodeList = QList<FileNodeRef>;

// An ordered array of nodes that one thread may fill while others read it. Each operation
// holds a lock for its duration, so a reader sees the array before or after a change and never
// half of one; a reader that asks for an index beyond the end gets no node.
//
// Every folder node has one, so an array costs one pointer until something is put in it, and
// its lock is one of a fixed set shared by address. No operation holds it while it takes
// another array's lock or lets a node go.
class FileNodeArray {
public:
    FileNodeArray() = default;
    ~FileNodeArray();
    FileNodeArray(const FileNodeArray&) = delete;
    FileNodeArray& operator=(const FileNodeArray&) = delete;

    qsizetype count() const;
    bool isEmpty() const { return count() == 0; }
    FileNodeRef at(qsizetype index) const; // null beyond the end
    FileNodeList toList() const;
    bool contains(const FileNode* node) const;

    void setList(const FileNodeList& nodes);
    void clear();
    void append(const FileNodeRef& node);
    void removeAll(const FileNode* node);

    // Inserts before the first element whose size is less than or equal to the node's, or
    // appends when there is none. Arrays filled this way (and by appending folders of size 0)
    // stay largest-first, so the place is found by bisection.
    void insertBySize(const FileNodeRef& node);
    // The same as insertBySize for each node in turn, in one merge: the nodes are placed in
    // the order those single inserts would give (among equal sizes the later one first, all of
    // them before the equal elements already there).
    void insertAllBySize(const FileNodeList& nodes);
    // Largest first. Equal sizes keep no particular order.
    void sortBySize();

private:
    using Items = std::vector<FileNodeRef>;
    QMutex& lock() const;
    Items& items(); // made on first use; under the lock
    // Takes the items out, to be let go after the lock.
    Items takeItems();

    std::unique_ptr<Items> m_items;
};

using FileNodeArrayRef = std::shared_ptr<FileNodeArray>;
inline FileNodeArrayRef makeFileNodeArray() {
    return std::make_shared<FileNodeArray>();
}

// One file or folder of a source volume: what the file list shows and ticks, what the size
// passes add up and what the copy engine copies. Paths are Mac paths.
//
// Memory matters (a whole volume can have millions of entries), so a node keeps its name and a
// link to the node its path continues (its base, normally the father it was listed under)
// instead of a whole path: its path is the base's path followed by the node's own text, which
// is "/" and the name for a listed entry, or the whole path for a node without a base. The
// text lives in the node's own allocation; what few nodes need beyond that (a name that is not
// the path's tail, a path or name set later, the checkbox's place, a button state) lives in a
// table beside the nodes.
//
// A node's text and base never change once it is built, so any thread may read a path while
// the main thread changes the tree. A node holds its base's text alive, not the base itself:
// when the last reference to a node goes, its children are let go and it is gone as a node,
// but its text stays as long as a node whose path continues it does. So a pass holding a node
// always has its whole path, whatever became of the folders above it. A path or name set
// later (setPath, setName) is the node's own: nodes built under it keep the paths they had,
// as nodes moved to another father (setFather) keep theirs.
//
// The state, the size, the father and the flags are atomic because background passes read them
// while the main thread changes them. A path or name set later is set while one thread holds
// the node, before it is shared.
class FileNode : public QSharedData {
public:
    ~FileNode();
    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    // Every new node starts selected (state 1), with an empty children array, also a file. The
    // node continues father's path when path begins with it.
    static FileNodeRef initWithPath(const QString& path, const QString& name, bool isDirectory,
                                    FileNode* father);

    // A node as the listings make them, without text conversion: its path is base's path
    // followed by suffix (UTF-8; the whole path without a base), its name the suffix's last
    // nameLength bytes. father is set as given; the base may be a node that is no one's father.
    static FileNodeRef fromListing(const FileNode* base, std::string_view suffix, std::uint32_t nameLength,
                                   bool isDirectory, FileNode* father = nullptr);

    QString name() const;
    void setName(const QString& name);
    QString path() const;
    void setPath(const QString& path);

    bool isDirectory() const { return hasFlag(kDirectory); }
    void setIsDirectory(bool value) { setFlag(kDirectory, value); }

    // Asks SystemFolder on every call; the stored flag is kept but not read.
    bool isSystemFile() const;
    void setIsSystemFile(bool value) { setFlag(kSystemFile, value); }

    FileNodeArray& children() { return m_children; }
    const FileNodeArray& children() const { return m_children; }
    void setChildren(const FileNodeList& nodes) { m_children.setList(nodes); }

    // 0 unselected, 1 selected, 2 half-selected (folders only).
    qint64 state() const { return m_state.load(std::memory_order_relaxed); }
    void setState(qint64 state) { m_state.store(std::int8_t(state), std::memory_order_relaxed); }

    // The parent, not owned (the parent owns the node); none for a top-level node. A parent
    // that goes away first clears it in its children.
    FileNode* father() const { return m_father.load(std::memory_order_acquire); }
    void setFather(FileNode* father) { m_father.store(father, std::memory_order_release); }

    // Bytes: a file's data length; a folder's total once measured, else 0.
    quint64 size() const { return m_size.load(std::memory_order_relaxed); }
    void setSize(quint64 size) { m_size.store(size, std::memory_order_relaxed); }

    qint32 isButtonState() const;
    void setIsButtonState(qint32 value);

    // Always the last component of path; a name set here is accepted and not kept, since the
    // getter never reads it.
    QString displayName() const;
    void setDisplayName(const QString&) {}

    QRectF checkBoxRect() const;
    void setCheckBoxRect(const QRectF& rect);

    bool isExpand() const { return hasFlag(kExpand); }
    void setIsExpand(bool value) { setFlag(kExpand, value); }

    // Negative when this node comes first in a largest-first order, positive when the other
    // does, 0 for equal sizes.
    int compareSize(const FileNode& other) const;
    // Sorts nothing: it makes and drops a sorted copy of the children and recurses. Kept as the
    // harmless operation it has always been; the orderings that matter are made by the tree
    // operations.
    void decendingSort() const;

    // The path's UTF-8 bytes, for the engines' file-system calls.
    QByteArray pathUtf8() const;

    // The last reference going: the node lets its children go and is gone as a node; its
    // memory stays while nodes built under it need its text.
    void operator delete(FileNode* node, std::destroying_delete_t);

private:
    enum Flag : std::uint8_t {
        kDirectory = 1,
        kSystemFile = 2,
        kExpand = 4,
        kExtras = 8,   // has an entry in the table beside the nodes
        kOverride = 16 // that entry holds a path and a name set later
    };
    struct Extras;
    static QHash<const FileNode*, Extras>& extrasTable(); // under its lock

    FileNode(const FileNode* base, std::uint32_t textLength, std::uint32_t nameLength, bool isDirectory,
             FileNode* father);
    static FileNodeRef make(const FileNode* base, std::string_view text, std::uint32_t nameLength,
                            bool isDirectory, FileNode* father);
    const char* text() const { return reinterpret_cast<const char*>(this + 1); }
    // The path the node was built with, which nodes built under it continue.
    QByteArray builtPath() const;
    std::string_view builtName() const;
    bool hasFlag(Flag flag) const { return m_flags.load(std::memory_order_relaxed) & flag; }
    void setFlag(Flag flag, bool value);
    template <typename Change> void changeExtras(Change change);
    template <typename Read> auto readExtras(Read read) const;
    void setOverride(const QString& path, const QString& name);
    static void releaseText(const FileNode* node);

    mutable std::atomic<std::uint32_t> m_textHolds{1}; // the node itself, and each node built on it
    std::atomic<quint64> m_size{0};
    std::atomic<FileNode*> m_father{nullptr};
    const FileNode* const m_base; // text held
    FileNodeArray m_children;
    const std::uint32_t m_textLength;
    const std::uint16_t m_nameLength;    // the name is the text's tail of this length
    std::atomic<std::int8_t> m_state{1}; // holds 0, 1 or 2
    std::atomic<std::uint8_t> m_flags{0};
    // followed by the text's m_textLength bytes, in the same allocation
};
