#pragma once

#include "volumes/DriveIdentity.h"

#include <QList>
#include <QSharedPointer>
#include <QString>

#include <cstdint>

// The one record by which every part of Tavrill speaks of a volume or a whole disk. A passive
// value: properties only, no behaviour, no validation. A new record has every string null, every
// number 0 and every flag false; whatever its filler does not set stays so.
//
// Records are shared: an enumerator appends them to its list, and a workflow that takes one keeps
// its own reference, so a refresh of the list never pulls a record from under it.
class VolumeObj {
public:
    const QString& volumeType() const { return m_volumeType; }
    void setVolumeType(const QString& v) { m_volumeType = v; }
    const QString& volumeName() const { return m_volumeName; }
    void setVolumeName(const QString& v) { m_volumeName = v; }
    const QString& volumePath() const { return m_volumePath; }
    void setVolumePath(const QString& v) { m_volumePath = v; }
    const QString& volumeMountPoint() const { return m_volumeMountPoint; }
    void setVolumeMountPoint(const QString& v) { m_volumeMountPoint = v; }
    const QString& volumeTotalSize() const { return m_volumeTotalSize; }
    void setVolumeTotalSize(const QString& v) { m_volumeTotalSize = v; }
    const QString& volumeFreeSize() const { return m_volumeFreeSize; }
    void setVolumeFreeSize(const QString& v) { m_volumeFreeSize = v; }
    bool bCanEject() const { return m_bCanEject; }
    void setBCanEject(bool v) { m_bCanEject = v; }
    std::int64_t volumeTotalSizeNum() const { return m_volumeTotalSizeNum; }
    void setVolumeTotalSizeNum(std::int64_t v) { m_volumeTotalSizeNum = v; }
    std::int64_t volumeFreeSizeNum() const { return m_volumeFreeSizeNum; }
    void setVolumeFreeSizeNum(std::int64_t v) { m_volumeFreeSizeNum = v; }
    const QString& BusProtocol() const { return m_BusProtocol; }
    void setBusProtocol(const QString& v) { m_BusProtocol = v; }
    const QString& diskType() const { return m_diskType; }
    void setDiskType(const QString& v) { m_diskType = v; }
    const QString& diskId() const { return m_diskId; }
    void setDiskId(const QString& v) { m_diskId = v; }
    const QString& diskMediaName() const { return m_diskMediaName; }
    void setDiskMediaName(const QString& v) { m_diskMediaName = v; }
    const QString& diskSMARTStatus() const { return m_diskSMARTStatus; }
    void setDiskSMARTStatus(const QString& v) { m_diskSMARTStatus = v; }
    const QString& diskContent() const { return m_diskContent; }
    void setDiskContent(const QString& v) { m_diskContent = v; }
    const QString& diskEx() const { return m_diskEx; }
    void setDiskEx(const QString& v) { m_diskEx = v; }
    const QString& vORpStr() const { return m_vORpStr; }
    void setVORpStr(const QString& v) { m_vORpStr = v; }
    const QString& diskUUID() const { return m_diskUUID; }
    void setDiskUUID(const QString& v) { m_diskUUID = v; }
    const QString& volRootDir() const { return m_volRootDir; }
    void setVolRootDir(const QString& v) { m_volRootDir = v; }
    const QString& parentWholeDisk() const { return m_parentWholeDisk; }
    void setParentWholeDisk(const QString& v) { m_parentWholeDisk = v; }
    std::int16_t volumeNum() const { return m_volumeNum; }
    void setVolumeNum(std::int16_t v) { m_volumeNum = v; }
    bool isInter() const { return m_isInter; }
    void setIsInter(bool v) { m_isInter = v; }
    bool isSolidState() const { return m_isSolidState; }
    void setIsSolidState(bool v) { m_isSolidState = v; }
    bool isWritable() const { return m_isWritable; }
    void setIsWritable(bool v) { m_isWritable = v; }
    bool isDisk() const { return m_isDisk; }
    void setIsDisk(bool v) { m_isDisk = v; }
    bool isOeners() const { return m_isOeners; }
    void setIsOeners(bool v) { m_isOeners = v; }
    std::int32_t chrCount() const { return m_chrCount; }
    void setChrCount(std::int32_t v) { m_chrCount = v; }
    // The physical drive that holds the volume or is the disk, for the lists and confirmations
    // that must tell drives apart.
    const DriveIdentity& drive() const { return m_drive; }
    void setDrive(const DriveIdentity& v) { m_drive = v; }

private:
    QString m_volumeType;       // FilesystemName, a lower-case workspace type, or " " for a USB disk
    QString m_volumeName;       // shown to the user
    QString m_volumePath;       // mount path, /dev/diskNsM or diskN, by filler
    QString m_volumeMountPoint; // null when not mounted
    QString m_volumeTotalSize;  // display text of the total
    QString m_volumeFreeSize;   // display text of the free space
    bool m_bCanEject = false;   // external ("Ejectable"); the internal/external split
    std::int64_t m_volumeTotalSizeNum = 0;
    std::int64_t m_volumeFreeSizeNum = 0;
    QString m_BusProtocol;
    QString m_diskType;           // FilesystemName, kept by the Disk Manager
    QString m_diskId;             // no filler
    QString m_diskMediaName;      // no filler
    QString m_diskSMARTStatus;    // no filler
    QString m_diskContent;        // no filler
    QString m_diskEx;             // no filler
    QString m_vORpStr;            // no filler
    QString m_diskUUID;           // VolumeUUID
    QString m_volRootDir;         // DeviceNode, kept by the Disk Manager
    QString m_parentWholeDisk;    // ParentWholeDisk
    std::int16_t m_volumeNum = 0; // no filler
    bool m_isInter = false;       // no filler
    bool m_isSolidState = false;  // no filler
    bool m_isWritable = false;    // no filler
    bool m_isDisk = false;        // no filler
    bool m_isOeners = false;      // no filler
    std::int32_t m_chrCount = 0;  // no filler
    DriveIdentity m_drive;        // the scans that show or erase drives
};

using VolumeObjRef = QSharedPointer<VolumeObj>;
using VolumeObjList = QList<VolumeObjRef>;
