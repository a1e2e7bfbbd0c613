#include "osclone/CloneTargetCheck.h"

#include "platform/DiskArbitration.h"
#include "volumes/UsbWholeDisk.h"

#include <QRegularExpression>

namespace {

// "disk0" of "disk0s2" or "/dev/disk0s2"; empty for anything else.
QString wholeDiskOf(const QString& device) {
    static const QRegularExpression disk(QStringLiteral("^(?:/dev/)?(disk[0-9]+)"));
    const QRegularExpressionMatch m = disk.match(device);
    return m.hasMatch() ? m.captured(1) : QString();
}

void addOnce(QStringList& list, const QString& name) {
    if (!name.isEmpty() && !list.contains(name))
        list << name;
}

} // namespace

QString driveModelName(const QVariantMap& info) {
    const QString key = QStringLiteral("IORegistryEntryName");
    return info.contains(key) ? info.value(key).toString() : QStringLiteral("Unknown");
}

QStringList wholeDisksOfVolume(const QVariantMap& info) {
    QStringList disks;
    addOnce(disks, info.value(QStringLiteral("ParentWholeDisk")).toString());
    addOnce(disks, wholeDiskOf(info.value(QStringLiteral("DeviceIdentifier")).toString()));
    for (const QVariant& store : info.value(QStringLiteral("APFSPhysicalStores")).toList())
        addOnce(disks, wholeDiskOf(store.toMap().value(QStringLiteral("APFSPhysicalStore")).toString()));
    return disks;
}

QString refuseCloneTarget(const ConfirmedDrive& drive, const std::optional<QVariantMap>& info,
                          const QStringList& systemDisks) {
    if (drive.bsdName.isEmpty() || wholeDiskOf(drive.bsdName) != drive.bsdName)
        return QStringLiteral("%1 is not a whole disk").arg(drive.bsdName);
    if (!info || info->value(QStringLiteral("Error")).toBool())
        return QStringLiteral("%1 is no longer attached").arg(drive.bsdName);
    if (info->value(QStringLiteral("DeviceIdentifier")).toString() != drive.bsdName)
        return QStringLiteral("%1 answers for another device").arg(drive.bsdName);
    if (!isUsbWholeDisk(*info))
        return QStringLiteral("%1 is no longer a whole USB disk").arg(drive.bsdName);
    if (info->value(QStringLiteral("Internal")).toBool())
        return QStringLiteral("%1 is an internal disk").arg(drive.bsdName);
    if (systemDisks.contains(drive.bsdName))
        return QStringLiteral("%1 holds the running system").arg(drive.bsdName);
    if (info->value(QStringLiteral("TotalSize")).toLongLong() != drive.totalSize ||
        driveModelName(*info) != drive.modelName)
        return QStringLiteral("%1 is now %2 of %3 bytes, not the confirmed %4 of %5 bytes")
            .arg(drive.bsdName, driveModelName(*info))
            .arg(info->value(QStringLiteral("TotalSize")).toLongLong())
            .arg(drive.modelName)
            .arg(drive.totalSize);
    return QString();
}

QStringList systemWholeDisks(const DiskLookup& lookup) {
    QStringList disks;
    for (const QString& path : DiskArbitration::mountedLocalVolumePaths()) {
        if (path != QLatin1String("/") && !path.startsWith(QLatin1String("/System/Volumes/")))
            continue;
        const std::optional<QVariantMap> info = lookup(path);
        if (!info)
            continue;
        for (const QString& disk : wholeDisksOfVolume(*info)) {
            addOnce(disks, disk);
            // A container's physical store may itself sit on another disk.
            if (disk != info->value(QStringLiteral("ParentWholeDisk")).toString())
                continue;
            if (const std::optional<QVariantMap> whole = lookup(QStringLiteral("/dev/") + disk)) {
                for (const QString& store : wholeDisksOfVolume(*whole))
                    addOnce(disks, store);
            }
        }
    }
    return disks;
}

QString checkCloneTarget(const ConfirmedDrive& drive, const DiskLookup& lookup) {
    // Should the running system's disks be unknown, nothing is erased.
    const QStringList system = systemWholeDisks(lookup);
    if (system.isEmpty())
        return QStringLiteral("the disk of the running system is unknown");
    return refuseCloneTarget(drive, lookup(QStringLiteral("/dev/") + drive.bsdName), system);
}
