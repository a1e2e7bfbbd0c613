#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <cstdint>
#include <functional>
#include <optional>

// The last look at a clone's target before it is erased. The user confirmed a drive by its
// model name and size; between that and the erase the drive may have been pulled out and its
// device name given to another disk. The erase goes ahead only when the disk under that name is
// still the confirmed drive and still a disk Tavrill may erase: a whole, physical USB disk, not
// internal, and not a disk that holds the running system or one of its volumes.

// The drive the user confirmed.
struct ConfirmedDrive {
    QString bsdName;            // whole disk, "disk4"
    std::int64_t totalSize = 0; // bytes
    QString modelName;          // as the drive list showed it ("Unknown" without one)
};

// The model name a drive list shows for a whole disk's information.
QString driveModelName(const QVariantMap& info);

// The whole disks that hold a volume: its own disk and, for an APFS volume, the disks of its
// container's physical stores ("disk1" and "disk0" for "disk1s5" on "disk0s2"). `info` is the
// volume's "diskutil info -plist" answer.
QStringList wholeDisksOfVolume(const QVariantMap& info);

// Why the target must not be erased, or an empty string when it may. `info` is the disk tool's
// answer for the confirmed device now (none: the disk is gone); `systemDisks` the whole disks of
// "/" and of every mounted system volume.
QString refuseCloneTarget(const ConfirmedDrive& drive, const std::optional<QVariantMap>& info,
                          const QStringList& systemDisks);

// Asks the disk tool for what refuseCloneTarget needs and answers its verdict. `lookup` answers
// "diskutil info -plist ARG" for a device or mount path. Blocks while the tool runs.
using DiskLookup = std::function<std::optional<QVariantMap>(const QString& arg)>;
QString checkCloneTarget(const ConfirmedDrive& drive, const DiskLookup& lookup);

// The whole disks of "/" and of the volumes mounted under "/System/Volumes".
QStringList systemWholeDisks(const DiskLookup& lookup);
