#pragma once

#include <QExplicitlySharedDataPointer>
#include <QList>
#include <QMutex>
#include <QRectF>
#include <QSharedData>
#include <QString>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class FileNode;

// Nodes are shared: a tree is read by the list on the main thread while a listing, a size pass
// or a copy run holds parts of it on a background thread. A node lives as long as anyone holds
// a reference; a parent holds its children.
using FileNodeRef = QExplicitlySharedDataPointer<FileNode>;
// A snapshot of an array, taken by the passes that walk it.
using FileNodeList = QList<FileNodeRef>;

// An ordered array of nodes that one thread may fill while others read it. Each operation
// holds the array's lock for its duration, so a reader sees the array before or after a
// change and never half of one; a reader that asks for an index beyond the end gets no node.
class FileNodeArray {
public:
    FileNodeArray() = default;
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
    mutable QMutex m_lock;
    std::vector<FileNodeRef> m_items;
};

using FileNodeArrayRef = std::shared_ptr<FileNodeArray>;
inline FileNodeArrayRef makeFileNodeArray() {
    return std::make_shared<FileNodeArray>();
}

// One file or folder of a source volume: what the file list shows and ticks, what the size
// passes add up and what the copy engine copies. Paths are Mac paths.
//
// Memory matters (a volume can have millions of entries): the path and the name are kept in
// one UTF-8 buffer, the name as the path's last component when it is one. The state, the size,
// the father and the expanded flag are atomic because background passes read them while the
// main thread changes them. The path and the name are set while one thread builds the node,
// before it is shared.
class FileNode : public QSharedData {
public:
    // Every new node starts selected (state 1), with an empty children array, also a file.
    FileNode(const QString& path, const QString& name, bool isDirectory, FileNode* father);
    ~FileNode();
    FileNode(const FileNode&) = delete;
    FileNode& operator=(const FileNode&) = delete;

    static FileNodeRef initWithPath(const QString& path, const QString& name, bool isDirectory,
                                    FileNode* father) {
        return FileNodeRef(new FileNode(path, name, isDirectory, father));
    }

    // A node whose name is the last nameLength bytes of its UTF-8 path, as the listings make
    // them; no text conversion on the way.
    static FileNodeRef fromListing(std::string pathUtf8, std::uint32_t nameLength, bool isDirectory,
                                   FileNode* father);

    QString name() const;
    void setName(const QString& name);
    QString path() const;
    void setPath(const QString& path);

    bool isDirectory() const { return m_isDirectory; }
    void setIsDirectory(bool value) { m_isDirectory = value; }

    // Asks SystemFolder on every call; the stored flag is kept but not read.
    bool isSystemFile() const;
    void setIsSystemFile(bool value) { m_isSystemFile = value; }

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

    qint32 isButtonState() const { return m_isButtonState; }
    void setIsButtonState(qint32 value) { m_isButtonState = value; }

    // Always the last component of path; a name set here is accepted and not kept, since the
    // getter never reads it.
    QString displayName() const;
    void setDisplayName(const QString&) {}

    QRectF checkBoxRect() const { return QRectF(m_checkBox[0], m_checkBox[1], m_checkBox[2], m_checkBox[3]); }
    void setCheckBoxRect(const QRectF& rect);

    bool isExpand() const { return m_isExpand.load(std::memory_order_relaxed); }
    void setIsExpand(bool value) { m_isExpand.store(value, std::memory_order_relaxed); }

    // Negative when this node comes first in a largest-first order, positive when the other
    // does, 0 for equal sizes.
    int compareSize(const FileNode& other) const;
    // Sorts nothing: it makes and drops a sorted copy of the children and recurses. Kept as the
    // harmless operation it has always been; the orderings that matter are made by the tree
    // operations.
    void decendingSort() const;

    // The path's UTF-8 bytes, for the engines' file-system calls.
    QByteArray pathUtf8() const { return QByteArray(m_text.data(), qsizetype(m_pathLength)); }

private:
    void setText(const QString& path, const QString& name);

    // path is m_text[0, m_pathLength); name is m_text[m_nameOffset, end): either the path's
    // tail or its own copy after a terminator.
    std::string m_text;
    std::uint32_t m_pathLength = 0;
    std::uint32_t m_nameOffset = 0;
    std::atomic<quint64> m_size{0};
    std::atomic<FileNode*> m_father{nullptr};
    FileNodeArray m_children;
    float m_checkBox[4] = {0, 0, 0, 0}; // view coordinates: single precision is ample
    qint32 m_isButtonState = 0;
    std::atomic<std::int8_t> m_state{1}; // holds 0, 1 or 2
    std::atomic<bool> m_isExpand{false};
    bool m_isDirectory = false;
    bool m_isSystemFile = false;
};
