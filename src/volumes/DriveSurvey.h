#pragma once

#include "core/CommandRunner.h"
#include "volumes/DriveIdentity.h"

#include <QHash>
#include <QString>
#include <QVariantMap>

#include <optional>

// Finds the physical drive behind a disk, partition or APFS volume and describes it
// (DriveIdentity): one "diskutil list -plist" for the layout of every disk, then
// "diskutil info -plist" for the drive and for each of its volumes. Answers are kept for the
// survey's life, so a listing of many volumes asks about each drive once. Blocking: use it on a
// worker thread.
class DriveSurvey {
public:
    explicit DriveSurvey(Runner runner);

    // The drive that holds `bsdName` ("disk6", "disk6s2", "/dev/disk1s1"); empty when the disk
    // tool does not know it.
    DriveIdentity driveOf(const QString& bsdName);
    // Answers its owner already has, so they are not asked for again: the layout, and the info
    // of a device (by its DeviceIdentifier).
    void rememberList(const QVariantMap& list);
    void rememberInfo(const QVariantMap& info);

    // The steps, from the tool's answers: the physical whole disk holding a device in a
    // `diskutil list -plist` dictionary (a volume of an APFS container is held by the disk of
    // the container's physical store), the devices of the volumes on a whole disk, and the
    // whole disk that holds the volume mounted at "/".
    static QString physicalDiskOf(const QVariantMap& list, const QString& device);
    static QStringList volumeDevicesOf(const QVariantMap& list, const QString& wholeDisk);
    static QString startupDiskOf(const QVariantMap& list);
    // A drive from its whole-disk info, the info of each of its volumes and the start-up disk.
    static DriveIdentity identityFrom(const QVariantMap& diskInfo, const QList<QVariantMap>& volumeInfos,
                                      const QString& startupDisk);

private:
    std::optional<QVariantMap> info(const QString& device);

    Runner m_runner;
    std::optional<QVariantMap> m_list;
    bool m_listRead = false;
    QHash<QString, DriveIdentity> m_drives;
    QHash<QString, QVariantMap> m_infos;
};
