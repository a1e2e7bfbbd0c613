#pragma once

#include "filecopy/FileNode.h"
#include "volumes/VolumeObj.h"

#include <QString>
#include <QStringList>

#include <cstdint>

class SelectValueView;

// The source and destination slots of the tabs that take files from a volume ("Disk Copy",
// "Disk Image Create"): what a slot shows for a picked volume, for dropped files and for a
// partial selection, and the source it stands for. The screens keep their own buttons, copy-type
// control and space rules; this is the part they share.
class SourceSlot {
public:
    // Shown when the same volume is picked for both slots.
    static QString sameVolumeMessage();
    static QString sourceHint();      // "Click here to select a source drive."
    static QString destinationHint(); // "Click here to select a destination drive."

    // The slot picture for a volume: a removable one, the volume at "/", any other.
    static QString volumeImage(const VolumeObj& volume);
    // Whether two records name the same volume (the same volume path); false when one is absent.
    static bool isSameVolume(const VolumeObjRef& a, const VolumeObjRef& b);
    // Dropped paths (host paths, as a drop gives them) as top-level nodes with Mac paths, in the order of the
    // drop, all selected: a folder with size 0, anything else with its data size. Names on the listing's skip
    // list
    // (".DS_Store", ".Trashes", ...) are left out.
    static FileNodeList nodesForDroppedPaths(const QStringList& paths);

    // A destination volume in its slot: its name, "<free> free", its picture, the close mark.
    static void showDestination(SelectValueView* view, const VolumeObj& volume);
    // An empty destination slot.
    static void clearDestination(SelectValueView* view);

    explicit SourceSlot(SelectValueView* view);

    SelectValueView* view() const { return m_view; }
    VolumeObjRef volume() const { return m_volume; }
    // The nodes to take: the dropped items or the selection the file list handed back; null
    // for a whole volume not listed yet.
    FileNodeArrayRef nodes() const { return m_nodes; }
    bool isDragValue() const { return m_isDragValue; }
    // The volume's used bytes (total minus free); -1 without a volume.
    std::int64_t usedSize() const { return m_usedSize; }
    // Bytes of the chosen files: -1 for a whole volume, 0 for dropped items not measured yet.
    std::int64_t selectFilesSize() const { return m_selectFilesSize; }

    // A volume picked as the source: its name, "<used> selected", its picture, the close mark.
    void showVolume(const VolumeObjRef& volume);
    // Files dropped onto the slot become the source: `name` as the slot's name (each tab has its
    // own), "<n> files selected", the folder picture. Answers the number of items taken.
    int showDrop(const QStringList& paths, const QString& name);
    // The file list's answer: the ticked tree and its bytes. When every top-level item is at
    // least partly ticked and the source is a volume, the slot shows the volume again;
    // otherwise "<n> files/folders" and "<size> selected" with the folder picture.
    void showSelection(const FileNodeArrayRef& nodes, std::int64_t bytes);
    // Everything of the source again after a partial selection: the whole volume, or every
    // dropped item wholly ticked.
    void takeAll();
    // Forgets the source and shows the empty slot.
    void clear();

private:
    void showVolumeTexts();
    void showDropTexts();

    SelectValueView* m_view;
    VolumeObjRef m_volume;
    FileNodeArrayRef m_nodes;
    bool m_isDragValue = false;
    QString m_dropName;
    std::int64_t m_usedSize = -1;
    std::int64_t m_selectFilesSize = -1;
};
