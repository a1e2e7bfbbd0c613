// The emulated diskutil's output: list and info, as property lists and as text, and the error
// lines every verb shares.

#include "Diskutil.h"
#include "EmuPlist.h"

#include <QRegularExpression>

#include <algorithm>

namespace emu::diskutil {

// disk4s2 -> (4, 2); disk4 -> (4, 0); snapshot disk3s1s1 -> (3, 1, 1)
QList<int> idKey(const QString& id) {
    QList<int> key;
    static const QRegularExpression numbers(QStringLiteral("\\d+"));
    auto it = numbers.globalMatch(id);
    while (it.hasNext())
        key << it.next().captured().toInt();
    return key;
}

QString sizeWords(qint64 bytes) {
    if (bytes >= 1000LL * 1000 * 1000 * 1000)
        return QString::number(bytes / (1000LL * 1000 * 1000 * 1000)) + QStringLiteral(" TB");
    if (bytes >= 1000LL * 1000 * 1000)
        return QString::number(bytes / (1000LL * 1000 * 1000)) + QStringLiteral(" GB");
    return QString::number(bytes / (1000LL * 1000)) + QStringLiteral(" MB");
}

int usage(Output& o, const QString& verb, const QString& text) {
    return o.fail(QStringLiteral("Usage:  diskutil %1 %2").arg(verb, text));
}

int cannotFind(Output& o, const QString& arg) {
    return o.fail(QStringLiteral("Could not find disk: ") + arg);
}

namespace {

bool idLess(const QString& a, const QString& b) {
    return idKey(a) < idKey(b);
}

bool isApfsVolume(const Partition& p) {
    return p.fs == QLatin1String("apfs") && !p.role.isEmpty();
}

QString roleVolume(Disk* container, const QString& role) {
    if (!container)
        return QString();
    for (const Partition& p : container->partitions) {
        if (p.role == role)
            return p.id;
    }
    return QString();
}

int allocationBlock(const Partition& p) {
    if (p.fs == QLatin1String("msdos"))
        return p.size > 8LL * 1000 * 1000 * 1000 ? 16384 : 8192;
    if (p.fs == QLatin1String("exfat"))
        return 131072;
    return 4096;
}

void addMediaFlags(QVariantMap& d, const Disk& phys, const MachineState& m) {
    d.insert(QStringLiteral("BusProtocol"), phys.bus);
    d.insert(QStringLiteral("Ejectable"), phys.ejectable);
    d.insert(QStringLiteral("EjectableMediaAutomaticUnderSoftwareControl"), false);
    d.insert(QStringLiteral("EjectableOnly"), phys.ejectable);
    d.insert(QStringLiteral("Internal"), phys.internal);
    d.insert(QStringLiteral("OSInternalMedia"), false);
    d.insert(QStringLiteral("Removable"), phys.removable);
    d.insert(QStringLiteral("RemovableMedia"), phys.removable);
    d.insert(QStringLiteral("RemovableMediaOrExternalDevice"), !phys.internal);
    d.insert(QStringLiteral("SMARTStatus"), phys.internal && !phys.virtualDisk
                                                ? QStringLiteral("Verified")
                                                : QStringLiteral("Not Supported"));
    if (phys.solidState)
        d.insert(QStringLiteral("SolidState"), *phys.solidState);
    d.insert(QStringLiteral("RAIDSlice"), phys.raidSlice);
    if (phys.coreStorageEncrypted || m.shape == QLatin1String("hfs"))
        d.insert(QStringLiteral("CoreStorageEncrypted"), phys.coreStorageEncrypted);
    if (phys.internal)
        d.insert(QStringLiteral("DeviceTreePath"),
                 QStringLiteral("IODeviceTree:/PCI0@0/RP01@1C/SSD0@0/PRT0@0/PMP@0"));
    d.insert(QStringLiteral("AESHardware"), false);
    d.insert(QStringLiteral("CanBeMadeBootable"), false);
    d.insert(QStringLiteral("CanBeMadeBootableRequiresDestroy"), false);
    d.insert(QStringLiteral("MediaType"), QStringLiteral("Generic"));
    d.insert(QStringLiteral("SystemImage"), false);
    d.insert(QStringLiteral("WritableMedia"), true);
    if (phys.internal && !phys.virtualDisk)
        d.insert(QStringLiteral("SMARTDeviceSpecificKeysMayVaryNotGuaranteed"), QVariantMap());
}

QVariantMap wholeDiskInfo(MachineState& m, Disk& d) {
    Disk* phys = m.physicalDiskOf(&d);
    QVariantMap i;
    addMediaFlags(i, *phys, m);
    i.insert(QStringLiteral("Bootable"), false);
    i.insert(QStringLiteral("Content"), d.wholeContent());
    i.insert(QStringLiteral("DeviceBlockSize"), d.container ? 4096 : 512);
    i.insert(QStringLiteral("DeviceIdentifier"), d.id);
    i.insert(QStringLiteral("DeviceNode"), QStringLiteral("/dev/") + d.id);
    i.insert(QStringLiteral("FreeSpace"), qint64(0));
    i.insert(QStringLiteral("GlobalPermissionsEnabled"), false);
    i.insert(QStringLiteral("IOKitSize"), d.size);
    if (!d.registryName.isEmpty())
        i.insert(QStringLiteral("IORegistryEntryName"), d.registryName);
    i.insert(QStringLiteral("LowLevelFormatSupported"), false);
    i.insert(QStringLiteral("MediaName"), d.mediaName);
    i.insert(QStringLiteral("MountPoint"), QString());
    i.insert(QStringLiteral("ParentWholeDisk"), d.id);
    i.insert(QStringLiteral("PartitionMapPartition"), false);
    i.insert(QStringLiteral("RAIDMaster"), phys->raidMaster);
    i.insert(QStringLiteral("Size"), d.size);
    i.insert(QStringLiteral("SupportsGlobalPermissionsDisable"), false);
    i.insert(QStringLiteral("TotalSize"), d.size);
    i.insert(QStringLiteral("VirtualOrPhysical"),
             d.virtualDisk || d.container ? QStringLiteral("Virtual") : QStringLiteral("Physical"));
    i.insert(QStringLiteral("VolumeName"), QString());
    i.insert(QStringLiteral("VolumeSize"), qint64(0));
    i.insert(QStringLiteral("WholeDisk"), true);
    i.insert(QStringLiteral("Writable"), true);
    i.insert(QStringLiteral("WritableVolume"), false);
    if (d.container) {
        i.insert(QStringLiteral("APFSContainerFree"), m.containerFree(&d));
        i.insert(QStringLiteral("APFSContainerSize"), d.size);
        i.insert(QStringLiteral("APFSPhysicalStores"),
                 QVariantList{QVariantMap{{QStringLiteral("APFSPhysicalStore"), d.physicalStore}}});
    }
    return i;
}

QVariantMap volumeInfo(MachineState& m, Disk& d, Partition& p, bool snapshot) {
    Disk* phys = m.physicalDiskOf(&d);
    const bool apfs = isApfsVolume(p);
    QVariantMap i;
    addMediaFlags(i, *phys, m);
    const bool system = p.mounted && p.mountPoint == QLatin1String("/");
    i.insert(QStringLiteral("Bootable"), system || p.role == QLatin1String("System"));
    i.insert(QStringLiteral("Content"), p.content);
    i.insert(QStringLiteral("DeviceBlockSize"), apfs ? 4096 : 512);
    const QString id = snapshot ? p.id + QStringLiteral("s1") : p.id;
    i.insert(QStringLiteral("DeviceIdentifier"), id);
    i.insert(QStringLiteral("DeviceNode"), QStringLiteral("/dev/") + id);
    if (!p.diskUUID.isEmpty())
        i.insert(QStringLiteral("DiskUUID"), p.diskUUID);
    i.insert(QStringLiteral("IOKitSize"), p.size);
    QString registry = p.name.isEmpty() ? p.content : p.name;
    if (p.content == QLatin1String("EFI"))
        registry = QStringLiteral("EFI System Partition");
    if (snapshot)
        registry = p.snapshot;
    i.insert(QStringLiteral("IORegistryEntryName"), registry);
    i.insert(QStringLiteral("MediaName"), QString());
    const bool mountedHere =
        p.mounted && (snapshot || p.snapshot.isEmpty() || p.mountPoint != QLatin1String("/"));
    i.insert(QStringLiteral("MountPoint"), mountedHere ? p.mountPoint : QString());
    i.insert(QStringLiteral("ParentWholeDisk"), d.id);
    i.insert(QStringLiteral("PartitionMapPartition"), !d.container);
    if (!d.container)
        i.insert(QStringLiteral("PartitionMapPartitionOffset"), p.offset);
    i.insert(QStringLiteral("RAIDMaster"), false);
    i.insert(QStringLiteral("Size"), p.size);
    i.insert(QStringLiteral("SupportsGlobalPermissionsDisable"), p.hasVolume());
    i.insert(QStringLiteral("VirtualOrPhysical"),
             phys->virtualDisk ? QStringLiteral("Virtual") : QStringLiteral("Physical"));
    i.insert(QStringLiteral("WholeDisk"), false);
    const bool writable = mountedHere && p.writable && !snapshot;
    i.insert(QStringLiteral("Writable"), writable);
    i.insert(QStringLiteral("WritableVolume"), writable);
    i.insert(QStringLiteral("GlobalPermissionsEnabled"),
             mountedHere && (p.fs == QLatin1String("hfs") || p.fs == QLatin1String("apfs")));
    if (p.hasVolume()) {
        i.insert(QStringLiteral("FilesystemName"), filesystemName(p));
        i.insert(QStringLiteral("FilesystemType"), filesystemType(p));
        i.insert(QStringLiteral("FilesystemUserVisibleName"), personalityName(p));
        i.insert(QStringLiteral("VolumeName"), p.name);
        i.insert(QStringLiteral("VolumeUUID"), p.uuid);
    }
    if (apfs) {
        i.insert(QStringLiteral("FreeSpace"), qint64(0));
        i.insert(QStringLiteral("VolumeSize"), qint64(0));
        i.insert(QStringLiteral("TotalSize"), d.size);
        i.insert(QStringLiteral("Size"), d.size);
        i.insert(QStringLiteral("IOKitSize"), d.size);
        i.insert(QStringLiteral("APFSContainerFree"), m.containerFree(&d));
        i.insert(QStringLiteral("APFSContainerReference"), d.id);
        i.insert(QStringLiteral("APFSContainerSize"), d.size);
        i.insert(QStringLiteral("APFSPhysicalStores"),
                 QVariantList{QVariantMap{{QStringLiteral("APFSPhysicalStore"), d.physicalStore}}});
        i.insert(QStringLiteral("Encryption"), false);
        i.insert(QStringLiteral("EncryptionThisVolumeProper"), false);
        i.insert(QStringLiteral("FileVault"), false);
        i.insert(QStringLiteral("Fusion"), false);
        i.insert(QStringLiteral("Locked"), false);
        if (!p.groupId.isEmpty())
            i.insert(QStringLiteral("APFSVolumeGroupID"), p.groupId);
        if (p.role == QLatin1String("System") || system) {
            const QString booter = roleVolume(&d, QStringLiteral("Preboot"));
            const QString recovery = roleVolume(&d, QStringLiteral("Recovery"));
            if (!booter.isEmpty())
                i.insert(QStringLiteral("BooterDeviceIdentifier"), booter);
            if (!recovery.isEmpty())
                i.insert(QStringLiteral("RecoveryDeviceIdentifier"), recovery);
            i.insert(QStringLiteral("MacOSSystemAPFSEFIDriverVersion"), qint64(1677120009000000));
        }
        if (!p.snapshot.isEmpty()) {
            i.insert(QStringLiteral("Sealed"), QStringLiteral("Yes"));
            if (snapshot) {
                i.insert(QStringLiteral("APFSSnapshot"), true);
                i.insert(QStringLiteral("APFSSnapshotName"), p.snapshot);
                i.insert(QStringLiteral("APFSSnapshotUUID"), p.snapshotUUID);
            }
        }
        if (p.mounted)
            i.insert(QStringLiteral("VolumeAllocationBlockSize"), 4096);
    } else {
        const bool counted = mountedHere && p.hasVolume();
        i.insert(QStringLiteral("FreeSpace"), counted ? m.freeBytes(p) : qint64(0));
        i.insert(QStringLiteral("VolumeSize"), counted ? p.totalSize : qint64(0));
        i.insert(QStringLiteral("TotalSize"), p.hasVolume() ? p.totalSize : p.size);
        if (counted)
            i.insert(QStringLiteral("VolumeAllocationBlockSize"), allocationBlock(p));
        if (counted && p.fs == QLatin1String("hfs")) {
            i.insert(QStringLiteral("JournalOffset"), qint64(1310720));
            i.insert(QStringLiteral("JournalSize"), qint64(8388608));
        }
    }
    return i;
}

QVariantMap errorPlist(const QString& arg) {
    return QVariantMap{{QStringLiteral("Error"), true},
                       {QStringLiteral("ErrorMessage"), QStringLiteral("Could not find disk: ") + arg},
                       {QStringLiteral("ExitCode"), 1}};
}

QVariantMap listPlist(MachineState& m, const QStringList& filters) {
    QList<Disk*> shown;
    for (Disk& d : m.disks) {
        Disk* phys = m.physicalDiskOf(&d);
        bool keep = true;
        for (const QString& f : filters) {
            const QString lf = f.toLower();
            if (lf == QLatin1String("internal"))
                keep = keep && phys->internal;
            else if (lf == QLatin1String("external"))
                keep = keep && !phys->internal;
            else if (lf == QLatin1String("physical"))
                keep = keep && !d.container && !d.virtualDisk;
            else if (lf == QLatin1String("virtual"))
                keep = keep && (d.container || d.virtualDisk);
            else {
                Located l = m.locate(f);
                keep = keep && l.disk == &d;
            }
        }
        if (keep)
            shown << &d;
    }
    std::sort(shown.begin(), shown.end(), [](Disk* a, Disk* b) { return idLess(a->id, b->id); });
    QStringList all, whole, mountedNames;
    QVariantList entries;
    const bool newer = idKey(m.version).value(0) > 10 || idKey(m.version).value(1) >= 15;
    for (Disk* d : shown) {
        whole << d->id;
        all << d->id;
        QVariantMap e;
        e.insert(QStringLiteral("Content"), d->wholeContent());
        e.insert(QStringLiteral("DeviceIdentifier"), d->id);
        if (newer)
            e.insert(QStringLiteral("OSInternal"), false);
        e.insert(QStringLiteral("Size"), d->size);
        QVariantList parts;
        QVariantList volumes;
        for (Partition& p : d->partitions) {
            all << p.id;
            const bool mountedHere =
                p.mounted && (p.snapshot.isEmpty() || p.mountPoint != QLatin1String("/"));
            if (p.mounted && p.hasVolume())
                mountedNames << p.name;
            QVariantMap pe;
            pe.insert(QStringLiteral("DeviceIdentifier"), p.id);
            if (!p.diskUUID.isEmpty())
                pe.insert(QStringLiteral("DiskUUID"), p.diskUUID);
            if (mountedHere)
                pe.insert(QStringLiteral("MountPoint"), p.mountPoint);
            if (p.hasVolume() && !p.name.isEmpty())
                pe.insert(QStringLiteral("VolumeName"), p.name);
            if (p.hasVolume() && !p.uuid.isEmpty())
                pe.insert(QStringLiteral("VolumeUUID"), p.uuid);
            if (d->container) {
                pe.insert(QStringLiteral("CapacityInUse"), m.usedBytes(p));
                pe.insert(QStringLiteral("OSInternal"), false);
                pe.insert(QStringLiteral("Size"), d->size);
                if (!p.snapshot.isEmpty() && p.mounted) {
                    pe.insert(
                        QStringLiteral("MountedSnapshots"),
                        QVariantList{QVariantMap{{QStringLiteral("Sealed"), QStringLiteral("Yes")},
                                                 {QStringLiteral("SnapshotBSD"), p.id + QStringLiteral("s1")},
                                                 {QStringLiteral("SnapshotMountPoint"), p.mountPoint},
                                                 {QStringLiteral("SnapshotName"), p.snapshot},
                                                 {QStringLiteral("SnapshotUUID"), p.snapshotUUID}}});
                }
                volumes << pe;
            } else {
                pe.insert(QStringLiteral("Content"), p.content);
                pe.insert(QStringLiteral("Size"), p.size);
                parts << pe;
            }
        }
        if (d->container) {
            e.insert(QStringLiteral("APFSPhysicalStores"),
                     QVariantList{QVariantMap{{QStringLiteral("DeviceIdentifier"), d->physicalStore}}});
            e.insert(QStringLiteral("APFSVolumes"), volumes);
            e.insert(QStringLiteral("Partitions"), QVariantList());
        } else if (!d->scheme.isEmpty() || !d->partitions.isEmpty()) {
            e.insert(QStringLiteral("Partitions"), parts);
        }
        entries << e;
    }
    std::sort(all.begin(), all.end(), idLess);
    return QVariantMap{{QStringLiteral("AllDisks"), all},
                       {QStringLiteral("AllDisksAndPartitions"), entries},
                       {QStringLiteral("VolumesFromDisks"), mountedNames},
                       {QStringLiteral("WholeDisks"), whole}};
}

} // namespace

int doList(MachineState& m, const QStringList& args, Output& o) {
    if (args.size() >= 2 && args.at(1) != QLatin1String("-plist") && args.contains(QStringLiteral("-plist")))
        return o.fail(QStringLiteral("Could not find disk for -plist"));
    if (args.size() >= 2 && args.at(1) == QLatin1String("-plist")) {
        o.write(writePlist(listPlist(m, args.mid(2))));
        return 0;
    }
    // The text listing, enough for a person to read.
    const QVariantMap l = listPlist(m, args.mid(1));
    for (const QVariant& e : l.value(QStringLiteral("AllDisksAndPartitions")).toList()) {
        const QVariantMap d = e.toMap();
        Disk* disk = m.disk(d.value(QStringLiteral("DeviceIdentifier")).toString());
        if (!disk)
            continue;
        Disk* phys = m.physicalDiskOf(disk);
        o.line(QStringLiteral("/dev/%1 (%2, %3):")
                   .arg(disk->id, phys->internal ? QStringLiteral("internal") : QStringLiteral("external"),
                        disk->container || disk->virtualDisk ? QStringLiteral("virtual")
                                                             : QStringLiteral("physical")));
        o.line(
            QStringLiteral("   #:                       TYPE NAME                    SIZE       IDENTIFIER"));
        o.line(QStringLiteral("   0: %1 %2 %3 %4")
                   .arg(disk->wholeContent().rightJustified(26), QString().leftJustified(23),
                        sizeWords(disk->size).leftJustified(10), disk->id));
        int n = 1;
        for (const Partition& p : disk->partitions)
            o.line(QStringLiteral("%1: %2 %3 %4 %5")
                       .arg(QString::number(n++).rightJustified(4),
                            (p.hasVolume() ? personalityName(p) : p.content).left(26).rightJustified(26),
                            p.name.left(23).leftJustified(23), sizeWords(p.size).leftJustified(10), p.id));
        o.line(QString());
    }
    return 0;
}

int doInfo(MachineState& m, const QStringList& args, Output& o) {
    const bool plist = args.size() >= 2 && args.at(1) == QLatin1String("-plist");
    const QStringList rest = args.mid(plist ? 2 : 1);
    if (rest.isEmpty())
        return usage(o, QStringLiteral("info"),
                     QStringLiteral("[-plist] MountPoint|DiskIdentifier|DeviceNode"));
    const QString arg = rest.first();
    Located l = m.locate(arg);
    if (!l.disk) {
        if (plist) {
            o.write(writePlist(errorPlist(arg)));
            o.code = 1;
            return 1;
        }
        return cannotFind(o, arg);
    }
    const QVariantMap info = l.part ? volumeInfo(m, *l.disk, *l.part, l.snapshot) : wholeDiskInfo(m, *l.disk);
    if (plist) {
        o.write(writePlist(info));
        return 0;
    }
    auto text = [&](const char* label, const QString& value) {
        o.line(QStringLiteral("   %1 %2").arg(QString::fromLatin1(label).leftJustified(29), value));
    };
    text("Device Identifier:", info.value(QStringLiteral("DeviceIdentifier")).toString());
    text("Device Node:", info.value(QStringLiteral("DeviceNode")).toString());
    text("Whole:",
         info.value(QStringLiteral("WholeDisk")).toBool() ? QStringLiteral("Yes") : QStringLiteral("No"));
    text("Part of Whole:", info.value(QStringLiteral("ParentWholeDisk")).toString());
    o.line(QString());
    text("Volume Name:", info.value(QStringLiteral("VolumeName")).toString());
    text("Mounted:", info.value(QStringLiteral("MountPoint")).toString().isEmpty() ? QStringLiteral("No")
                                                                                   : QStringLiteral("Yes"));
    text("Mount Point:", info.value(QStringLiteral("MountPoint")).toString());
    o.line(QString());
    text("File System Personality:", info.value(QStringLiteral("FilesystemName")).toString());
    text("Protocol:", info.value(QStringLiteral("BusProtocol")).toString());
    text("Disk Size:", QStringLiteral("%1 (%2 Bytes)")
                           .arg(sizeWords(info.value(QStringLiteral("TotalSize")).toLongLong()))
                           .arg(info.value(QStringLiteral("TotalSize")).toLongLong()));
    text("Device Location:", info.value(QStringLiteral("Internal")).toBool() ? QStringLiteral("Internal")
                                                                             : QStringLiteral("External"));
    text("Removable Media:", info.value(QStringLiteral("RemovableMedia")).toBool()
                                 ? QStringLiteral("Removable")
                                 : QStringLiteral("Fixed"));
    return 0;
}

} // namespace emu::diskutil
