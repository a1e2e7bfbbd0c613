#pragma once

#include <QList>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

class DiskWatcher;

// Keys of a drive dictionary.
inline constexpr char QvUSBBsdNameKey[] = "QvUSBBsdName";     // whole-disk identifier, "disk2"
inline constexpr char QvUSBTotalSizeKey[] = "QvUSBTotalSize"; // the disk's TotalSize in bytes
inline constexpr char QvUSBMediaNameKey[] = "QvUSBMediaName"; // MediaName, or "Unknown"

// What the control asks of the clone engine that owns the clone. Not owned by the control.
class QvUSBControlDelegate {
public:
    virtual ~QvUSBControlDelegate() = default;
    // The drive list is complete and the control now follows drives coming and going (main thread).
    virtual void QvEnumUSBFinishImp() {}
    // Read between the steps of carving a clone partition; true stops it.
    virtual bool QvUserIsCancel() { return false; }
};

// The USB drives that can take a system clone, kept up to date while drives are plugged in and
// pulled out; the name and mount path of the clone volume; and carving a clone partition out of
// the free space of a drive.
//
// The drive list is changed from worker threads (the listing, each arriving drive) and from the
// main thread (each leaving drive). One lock serialises it, and the events of one drive keep
// their order: the work for an arrival that finishes after a later removal of the same drive adds
// nothing.
class QvUSBControl {
public:
    // The process-wide control, created on first use.
    static QvUSBControl* QvShareInstance();

    QvUSBControl();
    ~QvUSBControl(); // waits for arrival work still running
    QvUSBControl(const QvUSBControl&) = delete;
    QvUSBControl& operator=(const QvUSBControl&) = delete;

    void QvSetDelegateObj(QvUSBControlDelegate* delegate) { _delegateObj = delegate; }
    QList<QVariantMap> QvGetUSBList() const; // a copy of the list, in the order drives were added

    void QvGetUSBThreadImp();                    // lists the drives; run it on a worker thread
    void QvAddDiskToUSBObj(const char* bsdName); // tests one whole disk and adds it
    void QvCreateDiskCallBack();                 // main thread: starts following drives
    void QvDiskAppearImp(const char* bsdName);   // main thread: tests the disk on a worker
    void QvDiskDisappearImp(const char* bsdName);
    std::optional<QVariantMap> QvGetDiskInfo(const char* bsdName); // "diskutil info -plist /dev/%s"
    bool QvCheckUSBObj(const QVariantMap* drive) const;            // in the list; false for none

    // Why the last carving found no place: error code -> "".
    QMap<int, QString> QvGetErrObjs() const { return _dictErrObjs; }
    // Makes a 2,500,000,000-byte partition named QvGetZantorVolumeName() out of a partition of
    // the drive with room to spare and answers its mount path; a null string when none could be
    // made (see QvGetErrObjs). Blocks while the disk tool runs; not on the main thread.
    QString QvCreateZantorPartition(const QVariantMap* drive);

    void CreateVolumeName(); // the first of "NewCloneSystem", "NewCloneSystem1", ... not in /Volumes
    QString QvGetZantorVolumeName() const { return _strZantorVolumeName; }
    QString QvGetZantorVolumePath() const; // "/Volumes/<name>"

    // Codes kept in QvGetErrObjs().
    static constexpr int kErrCoreStorage = -10;   // a partition is a CoreStorage volume
    static constexpr int kErrNoFreeSpace = -11;   // a partition is unmounted and reports no free space
    static constexpr int kErrNoRoom = -12;        // too few partitions, too little free space, or no reason
    static constexpr int kErrVolumeMissing = -13; // the resize ran but the volume is not in /Volumes

    // The pieces of the listing and of the carving that read the disk tool's answers.
    // A drive dictionary from a disk's info, or nothing when the disk cannot take a clone.
    static std::optional<QVariantMap> driveFromInfo(const QVariantMap& info);
    // The partitions of an "AllDisksAndPartitions" entry when the entry is this drive (same
    // identifier and size), else nothing.
    static std::optional<QVariantList> partitionsOfEntry(const QVariantMap& entry, const QVariantMap& drive);
    // What the carving makes of one partition's info: kPartitionFits (keepBytes then holds the
    // size the partition keeps), kPartitionSkipped, or one of the error codes above.
    static constexpr int kPartitionFits = 0;
    static constexpr int kPartitionSkipped = 1;
    static int partitionVerdict(const QVariantMap& info, std::uint64_t* keepBytes);

private:
    void addDisk(const char* bsdName, std::optional<quint64> arrival);

    QList<QVariantMap> _usbAllObjs;
    QString _strZantorVolumeName;
    QMap<int, QString> _dictErrObjs;
    QvUSBControlDelegate* _delegateObj = nullptr;

    mutable QMutex m_listLock;
    QMap<QString, quint64> m_events; // per drive: how many arrivals and removals were seen
    std::unique_ptr<DiskWatcher> m_watcher;
    std::atomic<int> m_pending{0};                           // arrival work not finished yet
    std::shared_ptr<int> m_alive = std::make_shared<int>(0); // for work queued to the main loop
};
