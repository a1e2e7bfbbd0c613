#pragma once

#include "filecopy/FileNode.h"

#include <QAbstractItemModel>
#include <QHash>
#include <QIcon>
#include <QSet>

// The file list's view of a FileNode tree. A listing fills the top-level array on a background
// thread; the model shows a snapshot of it, taken again by refreshTopLevel, so the view never
// sees the array change under it. Children arrays change only on the main thread, between
// beginAddChildren and endAddChildren.
//
// A folder whose name ends in ".app" or ".framework" is a bundle and shows as a leaf.
class FileNodeTreeModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Column { CheckBox, Name, Size, Path, OpenFinder, ColumnCount };
    // The artwork of a checkbox cell: "checkbox_unsel", "checkbox_sel", "checkbox_halfsel", or
    // "" for a system file, which has no checkbox.
    static constexpr int CheckBoxImageRole = Qt::UserRole + 1;

    explicit FileNodeTreeModel(QObject* parent = nullptr);

    // The identifier of a column ("CheckBox", "Name", "Size", "Path", "OpenFinder").
    static QString columnIdentifier(int column);
    static bool isExpandable(const FileNode& node);
    static QString checkBoxImage(qint64 state);

    // Shows another array (or none); resets the model.
    void setRootArray(const FileNodeArrayRef& array);
    FileNodeArrayRef rootArray() const { return m_array; }
    // Takes a new snapshot of the top-level array when it has grown, keeping expanded rows,
    // the current row and the selection on their nodes. Answers whether anything changed.
    bool refreshTopLevel();
    void beginAddChildren(FileNode* node, qsizetype count);
    void endAddChildren(FileNode* node);

    FileNode* nodeAt(const QModelIndex& index) const;
    QModelIndex indexOfNode(const FileNode* node, int column = CheckBox) const;
    // Whether a node is a protected system item (the list of them is read once per tree).
    bool isSystemFile(const FileNode* node) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    // The row of a node among its siblings (cached; the siblings of a node are looked up once).
    int rowOf(const FileNode* node) const;
    void indexTopLevel();

    FileNodeArrayRef m_array;
    FileNodeList m_top;
    mutable QHash<const FileNode*, int> m_rowOf;
    QSet<QString> m_systemFiles;
    QIcon m_checkBoxIcons[3];
    QIcon m_folderIcon;
    QIcon m_fileIcon;
    QIcon m_revealIcon;
};
