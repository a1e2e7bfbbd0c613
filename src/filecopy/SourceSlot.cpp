#include "filecopy/SourceSlot.h"

#include "core/QvPublicUtilities.h"
#include "filecopy/EumeRoot.h"
#include "filecopy/NodeTreeOperator.h"
#include "platform/Machine.h"
#include "ui/SelectValueView.h"

#include <QFileInfo>

QString SourceSlot::sameVolumeMessage() {
    return QStringLiteral(
        "You can\u2019t select the source drive as the destination drive, just select another drive.");
}

QString SourceSlot::sourceHint() {
    return QStringLiteral("Click here to select a source drive.");
}

QString SourceSlot::destinationHint() {
    return QStringLiteral("Click here to select a destination drive.");
}

QString SourceSlot::volumeImage(const VolumeObj& volume) {
    if (volume.bCanEject())
        return QStringLiteral("ic_usb_main");
    if (volume.volumeMountPoint() == QLatin1String("/"))
        return QStringLiteral("ic_os_main_b");
    return QStringLiteral("ic_disk_main");
}

bool SourceSlot::isSameVolume(const VolumeObjRef& a, const VolumeObjRef& b) {
    return a && b && a->volumePath() == b->volumePath();
}

FileNodeList SourceSlot::nodesForDroppedPaths(const QStringList& paths) {
    FileNodeList nodes;
    for (const QString& dropped : paths) {
        // A drop names host files; the nodes keep Mac paths (the same on a Mac).
        const QString path = Machine::macPath(dropped);
        const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
        if (EumeRoot::isSkippedName(name))
            continue;
        const bool folder = QFileInfo(Machine::hostPath(path)).isDir();
        FileNodeRef node = FileNode::initWithPath(path, name, folder, nullptr);
        if (!folder)
            node->setSize(NodeTreeOperator::getOneFileSizeWithPath(path));
        nodes.append(node);
    }
    return nodes;
}

void SourceSlot::showDestination(SelectValueView* view, const VolumeObj& volume) {
    view->setName(volume.volumeName());
    view->setSizeText(QStringLiteral("%1 free").arg(volume.volumeFreeSize()));
    view->setDetailLines(volume.drive().detailLines());
    view->setHint(QString());
    view->setImage(volumeImage(volume));
    view->setCloseShown(true);
    view->setIsHaveD(true);
    view->setErrorBackground(false);
}

void SourceSlot::clearDestination(SelectValueView* view) {
    view->showEmpty(destinationHint());
}

SourceSlot::SourceSlot(SelectValueView* view) : m_view(view) {
    m_view->showEmpty(sourceHint());
}

void SourceSlot::showVolume(const VolumeObjRef& volume) {
    m_volume = volume;
    m_nodes.reset();
    m_isDragValue = false;
    m_selectFilesSize = -1;
    showVolumeTexts();
}

void SourceSlot::showVolumeTexts() {
    m_usedSize = m_volume->volumeTotalSizeNum() - m_volume->volumeFreeSizeNum();
    m_view->setName(m_volume->volumeName());
    m_view->setSizeText(QStringLiteral("%1 selected").arg(QvPublicUtilities::longlongDiskSize(m_usedSize)));
    m_view->setDetailLines(m_volume->drive().detailLines());
    m_view->setHint(QString());
    m_view->setImage(volumeImage(*m_volume));
    m_view->setCloseShown(true);
    m_view->setIsHaveD(true);
}

int SourceSlot::showDrop(const QStringList& paths, const QString& name) {
    const FileNodeList dropped = nodesForDroppedPaths(paths);
    m_volume.reset();
    m_usedSize = -1;
    m_isDragValue = true;
    m_nodes = makeFileNodeArray();
    m_nodes->setList(dropped);
    m_selectFilesSize = 0;
    m_dropName = name;
    showDropTexts();
    return int(dropped.size());
}

void SourceSlot::showDropTexts() {
    m_view->setName(m_dropName);
    m_view->setSizeText(QStringLiteral("%1 files selected").arg(m_nodes->count()));
    m_view->setDetailLines({});
    m_view->setHint(QString());
    m_view->setImage(QStringLiteral("ic_folder"));
    m_view->setCloseShown(true);
    m_view->setIsHaveD(true);
}

void SourceSlot::takeAll() {
    if (m_isDragValue && m_nodes) {
        for (const FileNodeRef& node : m_nodes->toList())
            node->setState(1);
        m_selectFilesSize = 0;
        showDropTexts();
    } else if (m_volume) {
        showVolume(m_volume);
    }
}

void SourceSlot::showSelection(const FileNodeArrayRef& nodes, std::int64_t bytes) {
    m_nodes = nodes;
    m_selectFilesSize = bytes;
    const FileNodeList top = nodes ? nodes->toList() : FileNodeList();
    const auto ticked =
        std::count_if(top.begin(), top.end(), [](const FileNodeRef& n) { return n->state() != 0; });
    if (ticked != top.size() || m_isDragValue || !m_volume) {
        m_view->setName(QStringLiteral("%1 files/folders").arg(ticked));
        m_view->setSizeText(
            QStringLiteral("%1 selected").arg(QvPublicUtilities::longlongConvertVolSpace(bytes)));
        m_view->setDetailLines({});
        m_view->setHint(QString());
        m_view->setImage(QStringLiteral("ic_folder"));
    } else {
        showVolumeTexts();
    }
}

void SourceSlot::clear() {
    m_volume.reset();
    m_nodes.reset();
    m_isDragValue = false;
    m_usedSize = -1;
    m_selectFilesSize = -1;
    m_view->showEmpty(sourceHint());
}
