#include "filecopy/FileNodeTreeModel.h"

#include "core/QvPublicUtilities.h"
#include "filecopy/SystemFolder.h"
#include "ui/Artwork.h"

#include <QFileIconProvider>

#include <algorithm>

namespace {

constexpr QSize kIconSize(16, 16);

} // namespace

FileNodeTreeModel::FileNodeTreeModel(QObject* parent) : QAbstractItemModel(parent) {
    for (int state = 0; state < 3; ++state)
        m_checkBoxIcons[state] = Artwork::icon(checkBoxImage(state), kIconSize);
    const QFileIconProvider provider;
    m_folderIcon = provider.icon(QFileIconProvider::Folder);
    m_fileIcon = provider.icon(QFileIconProvider::File);
    m_revealIcon = Artwork::icon(QStringLiteral("ic_folder"), kIconSize);
}

QString FileNodeTreeModel::columnIdentifier(int column) {
    switch (column) {
    case CheckBox:
        return QStringLiteral("CheckBox");
    case Name:
        return QStringLiteral("Name");
    case Size:
        return QStringLiteral("Size");
    case Path:
        return QStringLiteral("Path");
    case OpenFinder:
        return QStringLiteral("OpenFinder");
    default:
        return QString();
    }
}

bool FileNodeTreeModel::isExpandable(const FileNode& node) {
    if (!node.isDirectory())
        return false;
    const QString name = node.name();
    return !name.endsWith(QLatin1String(".app")) && !name.endsWith(QLatin1String(".framework"));
}

QString FileNodeTreeModel::checkBoxImage(qint64 state) {
    switch (state) {
    case 0:
        return QStringLiteral("checkbox_unsel");
    case 2:
        return QStringLiteral("checkbox_halfsel");
    default:
        return QStringLiteral("checkbox_sel");
    }
}

void FileNodeTreeModel::setRootArray(const FileNodeArrayRef& array) {
    beginResetModel();
    m_array = array;
    m_top = array ? array->toList() : FileNodeList();
    m_rowOf.clear();
    m_systemFiles = SystemFolder::systemFilePaths();
    indexTopLevel();
    endResetModel();
}

void FileNodeTreeModel::indexTopLevel() {
    m_rowOf.reserve(m_top.size());
    for (int row = 0; row < int(m_top.size()); ++row)
        m_rowOf.insert(m_top[row].data(), row);
}

bool FileNodeTreeModel::refreshTopLevel() {
    if (!m_array)
        return false;
    // While a listing runs the array only grows, so an unchanged count means no change.
    if (m_array->count() == m_top.size())
        return false;
    Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    m_top = m_array->toList();
    indexTopLevel();
    const QModelIndexList before = persistentIndexList();
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex& old : before) {
        const FileNode* node = static_cast<const FileNode*>(old.internalPointer());
        after << (node->father() ? old
                                 : createIndex(m_rowOf.value(node), old.column(), old.internalPointer()));
    }
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    return true;
}

void FileNodeTreeModel::beginAddChildren(FileNode* node, qsizetype count) {
    const qsizetype already = node->children().count();
    beginInsertRows(indexOfNode(node), int(already), int(already + count - 1));
}

void FileNodeTreeModel::endAddChildren(FileNode*) {
    // The children's rows are looked up when first needed (rowOf), not for every child here.
    endInsertRows();
}

FileNode* FileNodeTreeModel::nodeAt(const QModelIndex& index) const {
    return index.isValid() ? static_cast<FileNode*>(index.internalPointer()) : nullptr;
}

int FileNodeTreeModel::rowOf(const FileNode* node) const {
    const auto found = m_rowOf.constFind(node);
    if (found != m_rowOf.constEnd())
        return *found;
    const FileNode* father = node->father();
    if (!father)
        return -1; // not in the snapshot
    const FileNodeList siblings = father->children().toList();
    int row = -1;
    for (int i = 0; i < int(siblings.size()); ++i) {
        m_rowOf.insert(siblings[i].data(), i);
        if (siblings[i].data() == node)
            row = i;
    }
    return row;
}

QModelIndex FileNodeTreeModel::indexOfNode(const FileNode* node, int column) const {
    if (!node)
        return QModelIndex();
    const int row = rowOf(node);
    return row < 0 ? QModelIndex() : createIndex(row, column, const_cast<FileNode*>(node));
}

bool FileNodeTreeModel::isSystemFile(const FileNode* node) const {
    // The same answer as FileNode::isSystemFile, without reading the list for every row.
    return m_systemFiles.contains(node->path());
}

QModelIndex FileNodeTreeModel::index(int row, int column, const QModelIndex& parent) const {
    if (row < 0 || column < 0 || column >= ColumnCount)
        return QModelIndex();
    if (!parent.isValid())
        return row < int(m_top.size()) ? createIndex(row, column, m_top[row].data()) : QModelIndex();
    const FileNodeRef child = nodeAt(parent)->children().at(row);
    return child ? createIndex(row, column, child.data()) : QModelIndex();
}

QModelIndex FileNodeTreeModel::parent(const QModelIndex& child) const {
    const FileNode* node = nodeAt(child);
    return node ? indexOfNode(node->father()) : QModelIndex();
}

int FileNodeTreeModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid())
        return int(m_top.size());
    if (parent.column() != 0)
        return 0;
    const FileNode* node = nodeAt(parent);
    return isExpandable(*node) ? int(node->children().count()) : 0;
}

int FileNodeTreeModel::columnCount(const QModelIndex&) const {
    return ColumnCount;
}

bool FileNodeTreeModel::hasChildren(const QModelIndex& parent) const {
    if (!parent.isValid())
        return !m_top.isEmpty();
    // A folder offers its arrow before it is listed: expanding it lists it.
    return parent.column() == 0 && isExpandable(*nodeAt(parent));
}

QVariant FileNodeTreeModel::data(const QModelIndex& index, int role) const {
    const FileNode* node = nodeAt(index);
    if (!node)
        return QVariant();
    switch (index.column()) {
    case CheckBox:
        if (role == CheckBoxImageRole)
            return isSystemFile(node) ? QString() : checkBoxImage(node->state());
        if (role == Qt::DecorationRole && !isSystemFile(node))
            return m_checkBoxIcons[std::clamp<qint64>(node->state(), 0, 2)];
        break;
    case Name:
        if (role == Qt::DisplayRole)
            return node->displayName();
        if (role == Qt::DecorationRole)
            return node->isDirectory() ? m_folderIcon : m_fileIcon;
        break;
    case Size:
        if (role == Qt::DisplayRole)
            return node->isDirectory() ? QStringLiteral("-")
                                       : QvPublicUtilities::convertVolSpace(node->size());
        if (role == Qt::TextAlignmentRole)
            return int(Qt::AlignRight | Qt::AlignVCenter);
        break;
    case Path:
        if (role == Qt::DisplayRole || role == Qt::ToolTipRole)
            return node->path();
        break;
    case OpenFinder:
        if (role == Qt::DecorationRole)
            return m_revealIcon;
        if (role == Qt::ToolTipRole)
            return tr("Show in the file viewer");
        break;
    default:
        break;
    }
    return QVariant();
}

QVariant FileNodeTreeModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    switch (section) {
    case Name:
        return tr("Name");
    case Size:
        return tr("Size");
    case Path:
        return tr("Path");
    default:
        return QString();
    }
}

Qt::ItemFlags FileNodeTreeModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    // Asked for every row when the view lays out: nothing here may touch the disk.
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}
