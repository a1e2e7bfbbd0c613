#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

// Which device holds a volume, what file system a device carries, which volumes are mounted, and
// which disks and volumes come and go. On a Mac this is the DiskArbitration framework and
// statfs; elsewhere it is the emulated Mac's mount table, read through the Machine seam. No other
// code reads the mount table.
//
// Every path here is a Mac path ("/Volumes/Data", "/dev/disk2s1").

// What the workspace's file-system query and the file manager's file-system attributes say of
// a path (a mount path or a device node).
struct FileSystemInfo {
    bool found = false; // the query succeeded; nothing below is meaningful otherwise
    QString type;       // lower-case type name: "hfs", "apfs", "msdos", "exfat", "ntfs", ...
    QString description;
    QString displayName; // the name the file manager shows for the path
    bool removable = false;
    bool writable = false;
    bool unmountable = false;
    std::int64_t size = 0;     // file-system size in bytes
    std::int64_t freeSize = 0; // file-system free bytes
    bool caseSensitive = true; // false when names that differ only in case are one name
    // What the file system's driver refuses to store, where the platform layer enforces it (an
    // emulated Mac's volumes; a real kernel enforces its own): the largest file in bytes (-1:
    // no limit known) and the bytes no name may hold.
    std::int64_t maxFileSize = -1;
    QByteArray refusedNameBytes;
    // Bytes a second the volume takes in, where the platform layer paces writes (an emulated
    // Mac's slow volume); 0: as fast as the disk goes.
    std::int64_t writeBytesPerSecond = 0;
};

namespace DiskArbitration {

// The BSD name ("disk1s1") of the device mounted at a volume path; empty when the path is not
// the mount point of a volume.
QString bsdNameForVolumePath(const QString& volumePath);

// File-system information of a mount path or of a device node "/dev/diskNsM".
FileSystemInfo fileSystemInfo(const QString& path);

// File-system information of the volume that holds an item (a Mac path, which need not exist
// yet: its nearest existing parent decides).
FileSystemInfo fileSystemInfoForItem(const QString& path);

// Mount paths of the mounted local volumes, "/" first, in mount order.
QStringList mountedLocalVolumePaths();

} // namespace DiskArbitration

// Reports disks appearing and disappearing and volumes mounting and unmounting, on the thread
// that created the watcher (its event loop must run). Elsewhere than on a Mac the mount table is
// watched so that a change is seen within about a second; disks are the whole disks of the
// mounted devices (disk2 for /dev/disk2s1).
class DiskWatcher : public QObject {
    Q_OBJECT
public:
    explicit DiskWatcher(QObject* parent = nullptr);
    ~DiskWatcher() override;

Q_SIGNALS:
    void diskAppeared(const QString& bsdName);
    void diskDisappeared(const QString& bsdName);
    void volumeMounted(const QString& mountPath);
    void volumeUnmounted(const QString& mountPath);

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
