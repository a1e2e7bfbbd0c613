// The emulated diskutil's verbs that change disks: rename, eraseVolume, reformat, eraseDisk,
// mount and unmount, eject and resizeVolume; and diskutilMain, which runs a verb under the
// state lock.

#include "Diskutil.h"

#include <QDir>
#include <QJsonArray>

namespace emu {

namespace diskutil {

namespace {

// Whether `name` keeps to the volume-name rules of file system `fs`.
bool validName(const QString& fs, const QString& name) {
    if (fs == QLatin1String("msdos")) {
        static const QString forbidden = QStringLiteral("\"*+,./:;<=>?[\\]|");
        if (name.size() > 11)
            return false;
        for (QChar c : name) {
            if (c.isLower() || forbidden.contains(c) || c.unicode() < 0x20)
                return false;
        }
        return true;
    }
    if (fs == QLatin1String("exfat")) {
        static const QString forbidden = QStringLiteral("\"*/:<>?\\|");
        if (name.size() > 11)
            return false;
        for (QChar c : name) {
            if (forbidden.contains(c) || c.unicode() < 0x20)
                return false;
        }
        return true;
    }
    return name.toUtf8().size() <= 255 && !name.contains(QLatin1Char(':'));
}

int invalidName(Output& o, const QString& name) {
    return o.fail(
        QStringLiteral("%1 does not appear to be a valid volume name for its file system").arg(name));
}

int invalidFormat(Output& o, const QString& format) {
    return o.fail(QStringLiteral("%1 does not appear to be a valid file system format").arg(format));
}

int invalidSize(Output& o) {
    return o.fail(QStringLiteral("Error: -69850: The chosen size is not valid for the chosen file system"));
}

// The formatter's own lines for a fresh file system.
void formatterLines(Output& o, const Partition& p) {
    const QString raw = QStringLiteral("/dev/r") + p.id;
    if (p.fs == QLatin1String("hfs")) {
        o.line(QStringLiteral("Initialized %1 as a %2 %3 HFS Plus volume with a 8192k journal")
                   .arg(raw, sizeWords(p.totalSize),
                        p.caseSensitive ? QStringLiteral("case-sensitive")
                                        : QStringLiteral("case-insensitive")));
    } else if (p.fs == QLatin1String("msdos")) {
        const qint64 sectors = p.size / 512;
        const int spc = p.size > 8LL * 1000 * 1000 * 1000 ? 32 : 16;
        o.line(QStringLiteral("512 bytes per physical sector"));
        o.line(QStringLiteral("%1: %2 sectors in %3 FAT%4 clusters (%5 bytes/cluster)")
                   .arg(raw)
                   .arg(sectors - 32768)
                   .arg((sectors - 32768) / spc)
                   .arg(p.fatBits)
                   .arg(spc * 512));
        o.line(QStringLiteral(
                   "bps=512 spc=%1 res=32 nft=2 mid=0xf8 spt=32 hds=255 hid=%2 drv=0x80 bsec=%3 bspf=%4 "
                   "rdcl=2 infs=1 bkbs=6")
                   .arg(spc)
                   .arg(p.offset / 512)
                   .arg(sectors)
                   .arg(sectors / spc * 4 / 512 + 1));
    } else if (p.fs == QLatin1String("exfat")) {
        o.line(QStringLiteral("Volume name      : ") + p.name);
        o.line(QStringLiteral("Partition offset : %1 sectors (%2 bytes)").arg(p.offset / 512).arg(p.offset));
        o.line(QStringLiteral("Volume size      : %1 sectors (%2 bytes)").arg(p.size / 512).arg(p.size));
        o.line(QStringLiteral("Bytes per sector : 512"));
        o.line(QStringLiteral("Bytes per cluster: 131072"));
        o.line(QStringLiteral("FAT offset       : 2048 sectors (1048576 bytes)"));
        o.line(QStringLiteral("# FAT sectors    : 2048"));
        o.line(QStringLiteral("Number of FATs   : 1"));
        o.line(QStringLiteral("Cluster offset   : 4096 sectors (2097152 bytes)"));
        o.line(QStringLiteral("# Clusters       : %1").arg(p.size / 131072));
        o.line(QStringLiteral("Volume Serial #  : %1").arg(p.uuid.left(8).toLower()));
        o.line(QStringLiteral("Bitmap start     : 2"));
        o.line(QStringLiteral("Bitmap file size : %1").arg(p.size / 131072 / 8 + 1));
        o.line(QStringLiteral("Upcase start     : 3"));
        o.line(QStringLiteral("Upcase file size : 5836"));
        o.line(QStringLiteral("Root start       : 4"));
    }
}

// Turns partition `p` into an APFS container holding one volume named `name`.
void makeApfs(MachineState& m, Disk& d, Partition& p, const QString& name, bool caseSensitive, Output& o) {
    const QString storeId = p.id;
    const qint64 size = p.size;
    p.content = QStringLiteral("Apple_APFS");
    p.fs.clear();
    p.name.clear();
    p.uuid.clear();
    o.line(QStringLiteral("Creating a new empty APFS Container"));
    o.line(QStringLiteral("Unmounting Volumes"));
    o.line(QStringLiteral("Switching %1 to APFS").arg(storeId));
    o.line(QStringLiteral("Creating APFS Container"));
    QJsonObject c = MachineState::containerDescription(d, storeId, size);
    QJsonObject vol;
    vol.insert(QStringLiteral("fs"), caseSensitive ? QStringLiteral("APFSX") : QStringLiteral("APFS"));
    vol.insert(QStringLiteral("name"), name);
    vol.insert(QStringLiteral("role"), QStringLiteral("None"));
    vol.insert(QStringLiteral("size"), size);
    vol.insert(QStringLiteral("totalSize"), size);
    c.insert(QStringLiteral("partitions"), QJsonArray{vol});
    Disk& container = m.addDisk(c);
    for (Partition& v : container.partitions)
        v.diskUUID = m.newUUID();
    const QString containerId = container.id;
    m.partition(storeId)->container = containerId;
    o.line(QStringLiteral("Created new APFS Container %1").arg(containerId));
    o.line(QStringLiteral("Disk from APFS operation: %1").arg(containerId));
    o.line(QStringLiteral("Preparing to add APFS Volume to APFS Container %1").arg(containerId));
    o.line(QStringLiteral("Creating APFS Volume"));
    o.line(QStringLiteral("Created new APFS Volume %1s1").arg(containerId));
    o.line(QStringLiteral("Mounting APFS Volume"));
    o.line(QStringLiteral("Setting volume permissions"));
    o.line(QStringLiteral("Disk from APFS operation: %1s1").arg(containerId));
    o.line(QStringLiteral("Finished APFS operation on %1").arg(storeId));
}

// Gives partition `p` a fresh, empty file system and mounts it.
void formatPartition(MachineState& m, Disk& d, Partition& p, const FileSystem& fs, const QString& name,
                     Output& o) {
    m.unmount(p);
    // The old content goes with the old file system.
    QDir(m.contentFolder(p)).removeRecursively();
    if (Disk* old = m.containerOf(p))
        m.removeDisk(old->id);
    p.container.clear();
    if (fs.type == QLatin1String("apfs") && d.container) {
        // A volume of an APFS container is erased in its container: deleted and made anew under
        // the same identifier, with a new UUID.
        o.line(QStringLiteral("Erasing APFS Volume %1 by deleting and recreating").arg(p.id));
        o.line(QStringLiteral("Deleting APFS Volume from its APFS Container"));
        o.line(QStringLiteral("Creating APFS Volume"));
        p.fs = QStringLiteral("apfs");
        p.caseSensitive = fs.caseSensitive;
        p.name = name;
        p.uuid = m.newUUID();
        p.writable = true;
        p.used = 0;
        o.line(QStringLiteral("Created new APFS Volume %1").arg(p.id));
        o.line(QStringLiteral("Mounting APFS Volume"));
        QDir().mkpath(m.contentFolder(p));
        m.mount(p);
        o.line(QStringLiteral("Setting volume permissions"));
        o.line(QStringLiteral("Finished APFS operation on %1").arg(p.id));
        return;
    }
    if (fs.type == QLatin1String("apfs")) {
        p.fs = QStringLiteral("hfs");
        p.name = name;
        p.totalSize = p.size;
        o.line(QStringLiteral("Formatting %1 as Mac OS Extended (Journaled) with name %2").arg(p.id, name));
        formatterLines(o, p);
        Disk* holder = m.disk(d.id);
        Partition* store = m.partition(p.id);
        makeApfs(m, *holder, *store, name, fs.caseSensitive, o);
        return;
    }
    p.fs = fs.type;
    p.fatBits = fs.fatBits;
    p.caseSensitive = fs.caseSensitive;
    p.name = name;
    p.uuid = m.newUUID();
    p.writable = true;
    p.totalSize = freshCapacity(p);
    p.used = 0;
    // Free space left by an erase keeps an Apple_HFS entry on MBR.
    if (!d.container)
        p.content = p.hasVolume() || d.scheme != QLatin1String("MBR") ? partitionContent(d.scheme, p)
                                                                      : QStringLiteral("Apple_HFS");
    o.line(QStringLiteral("Formatting %1 as %2 with name %3").arg(p.id, personalityName(p), name));
    formatterLines(o, p);
    QDir().mkpath(m.contentFolder(p));
    m.mount(p);
}

// The first mounted volume on `d` that a process holds open, or null.
Partition* busyVolumeOn(MachineState& m, Disk* d) {
    for (Partition* p : m.volumesOn(d)) {
        if (p->mounted && p->busyPid > 0)
            return p;
    }
    return nullptr;
}

bool isBootDisk(MachineState& m, Disk& d) {
    Partition* sys = m.systemVolume();
    if (!sys)
        return false;
    for (Disk& other : m.disks) {
        for (Partition& p : other.partitions) {
            if (&p != sys)
                continue;
            if (&other == &d)
                return true;
            Disk* phys = m.physicalDiskOf(&other);
            return phys == &d;
        }
    }
    return false;
}

int doRename(MachineState& m, const QStringList& args, Output& o) {
    if (args.size() < 3)
        return usage(o, QStringLiteral("rename"),
                     QStringLiteral("MountPoint|DiskIdentifier|DeviceNode NewName"));
    Located l = m.locate(args.at(1));
    if (!l.part || !l.part->hasVolume())
        return cannotFind(o, args.at(1));
    Partition& p = *l.part;
    const QString name = args.at(2);
    if (!validName(p.fs, name) || name.isEmpty())
        return invalidName(o, name);
    if (p.mounted && !p.writable && p.mountPoint != QLatin1String("/"))
        return o.fail(QStringLiteral("Error: -69808: Resource busy"));
    p.name = name;
    if (p.mounted && p.mountPoint != QLatin1String("/") &&
        !p.mountPoint.startsWith(QLatin1String("/System/"))) {
        const QString oldHost = m.host(p.mountPoint);
        p.mounted = false;
        const QString old = p.mountPoint;
        p.mountPoint.clear();
        const QString fresh = m.freeMountPoint(name);
        if (QDir().rename(oldHost, m.host(fresh)))
            p.mountPoint = fresh;
        else
            p.mountPoint = old;
        p.mounted = true;
    }
    o.line(QStringLiteral("Volume on %1 renamed to %2").arg(p.id, name));
    return 0;
}

int doEraseVolume(MachineState& m, const QStringList& args, Output& o, bool reformat) {
    QString fsArg, name, dev;
    if (reformat) {
        if (args.size() < 2)
            return usage(o, QStringLiteral("reformat"),
                         QStringLiteral("MountPoint|DiskIdentifier|DeviceNode"));
        dev = args.at(1);
    } else {
        if (args.size() < 4)
            return usage(o, QStringLiteral("eraseVolume"),
                         QStringLiteral("format name MountPoint|DiskIdentifier|DeviceNode"));
        fsArg = args.at(1);
        name = args.at(2);
        dev = args.at(3);
    }
    Located l = m.locate(dev);
    if (!l.disk)
        return cannotFind(o, dev);
    if (!l.part) {
        // A whole device without partitions is formatted as it stands.
        return o.fail(QStringLiteral("Error: -69877: Couldn't open device"));
    }
    Partition& p = *l.part;
    if (p.mounted && (p.mountPoint == QLatin1String("/") || p.busyPid > 0))
        return o.fail(QStringLiteral("Error: -69888: Couldn't unmount disk"));
    FileSystem fs;
    if (reformat) {
        if (!p.hasVolume())
            return o.fail(QStringLiteral("Error: -69846: The volume does not have a file system"));
        fs = FileSystem{p.fs, p.fatBits, p.caseSensitive};
        name = p.name;
    } else {
        const std::optional<FileSystem> named = formatFileSystem(fsArg);
        if (!named)
            return invalidFormat(o, fsArg);
        fs = *named;
    }
    if (fs.type == QLatin1String("msdos") && name.isEmpty())
        name = QStringLiteral("UNTITLED");
    if (!validName(fs.type, name))
        return invalidName(o, name);
    const QString oldName = p.name;
    o.line(QStringLiteral("Started erase on %1%2")
               .arg(p.id, oldName.isEmpty() ? QString() : QLatin1Char(' ') + oldName));
    o.line(QStringLiteral("Unmounting disk"));
    o.line(QStringLiteral("Erasing"));
    const QString id = p.id;
    formatPartition(m, *l.disk, p, fs, name, o);
    o.line(QStringLiteral("Mounting disk"));
    o.line(QStringLiteral("Finished erase on %1 %2").arg(id, name));
    return 0;
}

int doEraseDisk(MachineState& m, const QStringList& args, Output& o) {
    if (args.size() < 4)
        return usage(
            o, QStringLiteral("eraseDisk"),
            QStringLiteral(
                "format name [APM[Format]|MBR[Format]|GPT[Format]] MountPoint|DiskIdentifier|DeviceNode"));
    const QString dev = args.last();
    QString scheme = QStringLiteral("GPT");
    if (args.size() >= 5) {
        const QString s = args.at(3).toUpper();
        if (s.startsWith(QLatin1String("MBR")))
            scheme = QStringLiteral("MBR");
        else if (s.startsWith(QLatin1String("APM")))
            scheme = QStringLiteral("APM");
        else if (!s.startsWith(QLatin1String("GPT")))
            return usage(o, QStringLiteral("eraseDisk"),
                         QStringLiteral("format name [APM|MBR|GPT] DiskIdentifier"));
    }
    const QString name = args.at(2);
    Located l = m.locate(dev);
    if (!l.disk)
        return o.fail(QStringLiteral("Unable to find disk for ") + dev);
    // A volume names its whole disk.
    Disk* d = m.physicalDiskOf(l.disk);
    const bool noformat = name == QLatin1String("%noformat%");
    const std::optional<FileSystem> fs = formatFileSystem(args.at(1));
    if (!fs)
        return invalidFormat(o, args.at(1));
    if (!noformat && !validName(fs->type, name))
        return invalidName(o, name);
    if (isBootDisk(m, *d) || d->container || busyVolumeOn(m, d))
        return o.fail(QStringLiteral("Error: -69888: Couldn't unmount disk"));
    const QString diskId = d->id;
    o.line(QStringLiteral("Started erase on ") + diskId);
    o.line(QStringLiteral("Unmounting disk"));
    // Everything on the disk goes, APFS containers included.
    for (Partition& p : d->partitions) {
        m.unmount(p);
        QDir(m.contentFolder(p)).removeRecursively();
        if (!p.container.isEmpty())
            m.removeDisk(p.container);
    }
    d = m.disk(diskId);
    d->partitions.clear();
    d->scheme = scheme;
    d->content.clear();
    o.line(QStringLiteral("Creating the partition map"));
    o.line(QStringLiteral("Waiting for partitions to activate"));
    qint64 offset = 0;
    int slice = 1;
    if (scheme == QLatin1String("GPT")) {
        Partition efi = MachineState::efiPartition();
        efi.id = diskId + QStringLiteral("s1");
        efi.offset = 20480;
        efi.diskUUID = m.newUUID();
        efi.uuid = m.newUUID();
        d->partitions << efi;
        offset = 411648LL * 512;
        slice = 2;
    } else {
        offset = scheme == QLatin1String("MBR") ? 1048576 : 32768;
    }
    Partition data;
    data.id = diskId + QLatin1Char('s') + QString::number(slice);
    data.offset = offset;
    data.size = (d->size - offset - (scheme == QLatin1String("GPT") ? 20480 : 0)) / 4096 * 4096;
    if (scheme == QLatin1String("GPT"))
        data.diskUUID = m.newUUID();
    data.content = QStringLiteral("Apple_HFS");
    d->partitions << data;
    if (!noformat) {
        Partition& p = d->partitions.last();
        formatPartition(m, *d, p, *fs, name, o);
        o.line(QStringLiteral("Mounting disk"));
    }
    o.line(QStringLiteral("Finished erase on ") + diskId);
    return 0;
}

// The line naming the holder's parent, which diskutil prints under a dissent when it knows it.
void dissenterParent(const Partition& p, Output& o) {
    if (p.busyParentPid > 0)
        o.line(QStringLiteral("Dissenter parent PPID %1 (%2)").arg(p.busyParentPid).arg(p.busyParent));
}

// Unmounts every volume on `d`. On the boot disk, or without `force` while a process holds a
// volume open, says who dissented (on standard output, as diskutil does) and answers false.
bool unmountAll(MachineState& m, Disk* d, Output& o, bool force = false) {
    const auto dissented = [&](int pid, const QString& process) {
        o.line(QStringLiteral("Unmount of %1 failed: at least one volume could not be unmounted").arg(d->id));
        o.line(QStringLiteral("Unmount was dissented by PID %1 (%2)").arg(pid).arg(process));
        o.code = 1;
        return false;
    };
    if (isBootDisk(m, *m.physicalDiskOf(d)))
        return dissented(1, QStringLiteral("/sbin/launchd"));
    if (Partition* busy = force ? nullptr : busyVolumeOn(m, d)) {
        dissented(busy->busyPid, busy->busyProcess);
        dissenterParent(*busy, o);
        return false;
    }
    for (Partition* p : m.volumesOn(d))
        m.unmount(*p);
    return true;
}

bool isForced(const QStringList& args) {
    return args.size() > 1 && args.at(1).toLower() == QLatin1String("force");
}

// The arguments after the verb, without a leading "force".
QStringList withoutForce(const QStringList& args) {
    QStringList rest = args.mid(1);
    if (isForced(args))
        rest.removeFirst();
    return rest;
}

int doUnmountDisk(MachineState& m, const QStringList& args, Output& o) {
    const QStringList rest = withoutForce(args);
    if (rest.isEmpty())
        return usage(o, QStringLiteral("unmountDisk"),
                     QStringLiteral("[force] MountPoint|DiskIdentifier|DeviceNode"));
    Located l = m.locate(rest.first());
    if (!l.disk)
        return o.fail(QStringLiteral("Unable to find disk for ") + rest.first());
    if (!unmountAll(m, l.disk, o, isForced(args)))
        return 1;
    o.line(QStringLiteral("Unmount of all volumes on %1 was successful").arg(l.disk->id));
    return 0;
}

int doMountDisk(MachineState& m, const QStringList& args, Output& o) {
    if (args.size() < 2)
        return usage(o, QStringLiteral("mountDisk"), QStringLiteral("MountPoint|DiskIdentifier|DeviceNode"));
    Located l = m.locate(args.at(1));
    if (!l.disk)
        return o.fail(QStringLiteral("Unable to find disk for ") + args.at(1));
    for (Partition* p : m.volumesOn(l.disk)) {
        if (p->mountsByDefault())
            m.mount(*p);
    }
    o.line(QStringLiteral("Volume(s) mounted successfully"));
    return 0;
}

int doUnmount(MachineState& m, const QStringList& args, Output& o) {
    const QStringList rest = withoutForce(args);
    if (rest.isEmpty())
        return usage(o, QStringLiteral("unmount"),
                     QStringLiteral("[force] MountPoint|DiskIdentifier|DeviceNode"));
    Located l = m.locate(rest.first());
    if (!l.part || !l.part->mounted)
        return o.fail(QStringLiteral("Volume ") + rest.first() +
                      QStringLiteral(" does not appear to be mounted"));
    if (l.part->mountPoint == QLatin1String("/")) {
        o.line(QStringLiteral("Volume %1 on %2 failed to unmount: dissented by PID 1 (/sbin/launchd)")
                   .arg(l.part->name, l.part->id));
        o.code = 1;
        return 1;
    }
    if (l.part->busyPid > 0 && !isForced(args)) {
        o.line(QStringLiteral("Volume %1 on %2 failed to unmount: dissented by PID %3 (%4)")
                   .arg(l.part->name, l.part->id)
                   .arg(l.part->busyPid)
                   .arg(l.part->busyProcess));
        dissenterParent(*l.part, o);
        o.code = 1;
        return 1;
    }
    m.unmount(*l.part);
    o.line(QStringLiteral("Volume %1 on %2 unmounted").arg(l.part->name, l.part->id));
    return 0;
}

int doMount(MachineState& m, const QStringList& args, Output& o) {
    if (args.size() < 2)
        return usage(o, QStringLiteral("mount"),
                     QStringLiteral("[readOnly] MountPoint|DiskIdentifier|DeviceNode"));
    Located l = m.locate(args.last());
    if (!l.part || !l.part->hasVolume()) {
        o.error(QStringLiteral("Volume on %1 failed to mount").arg(args.last()));
        o.error(QStringLiteral("Perhaps the operation is not supported (kDAReturnUnsupported)"));
        o.error(QStringLiteral("If it has a partitioning scheme, use \"diskutil mountDisk\""));
        return o.fail(
            QStringLiteral("If you think the volume is supported but damaged, try the \"readOnly\" option"));
    }
    m.mount(*l.part);
    o.line(QStringLiteral("Volume %1 on %2 mounted").arg(l.part->name, args.last()));
    return 0;
}

int doEject(MachineState& m, const QStringList& args, Output& o) {
    if (args.size() < 2 || args.at(1).isEmpty())
        return usage(o, QStringLiteral("eject"), QStringLiteral("MountPoint|DiskIdentifier|DeviceNode"));
    const QString arg = args.at(1);
    Located l = m.locate(arg);
    if (!l.disk)
        return o.fail(QStringLiteral("Unable to find disk for ") + arg);
    Disk* d = m.physicalDiskOf(l.disk);
    if (!unmountAll(m, d, o))
        return 1;
    if (d->ejectable) {
        saveImageContent(m, *d);
        m.removeDisk(d->id);
    }
    o.line(QStringLiteral("Disk %1 ejected").arg(arg));
    return 0;
}

int doResizeVolume(MachineState& m, const QStringList& args, Output& o) {
    if (args.size() < 3)
        return usage(
            o, QStringLiteral("resizeVolume"),
            QStringLiteral(
                "MountPoint|DiskIdentifier|DeviceNode size [[part1Format part1Name part1Size] ...]"));
    Located l = m.locate(args.at(1));
    if (!l.part || l.disk->container)
        return cannotFind(o, args.at(1));
    const qint64 newSize = parseSize(args.at(2), SizeUnits::Diskutil);
    if (newSize <= 0)
        return invalidSize(o);
    struct NewPart {
        std::optional<FileSystem> fs;
        QString name;
        qint64 size;
    };
    QList<NewPart> extra;
    for (int i = 3; i + 2 < args.size(); i += 3) {
        NewPart n{formatFileSystem(args.at(i)), args.at(i + 1),
                  parseSize(args.at(i + 2), SizeUnits::Diskutil)};
        if (!n.fs || n.size <= 0)
            return invalidSize(o);
        if (!validName(n.fs->type, n.name))
            return invalidName(o, n.name);
        extra << n;
    }
    if ((args.size() - 3) % 3 != 0)
        return usage(o, QStringLiteral("resizeVolume"),
                     QStringLiteral("MountPoint|DiskIdentifier|DeviceNode size"));
    Partition& p = *l.part;
    const QString diskId = l.disk->id;
    const QString partId = p.id;
    qint64 extraTotal = 0;
    for (const NewPart& n : extra)
        extraTotal += n.size;
    const qint64 used = m.usedBytes(p);
    if (newSize < used || newSize + extraTotal > p.size)
        return o.fail(
            QStringLiteral("Error: -69787: The partition cannot be resized; try reducing the amount of "
                           "change in the size of the partition"));
    o.line(QStringLiteral("Resizing to %1 bytes").arg(newSize) +
           (extra.isEmpty() ? QString() : QStringLiteral(" and adding %1 partition").arg(extra.size())));
    o.line(QStringLiteral("Started partitioning on %1 %2").arg(partId, p.name));
    o.line(QStringLiteral("Verifying the disk"));
    o.line(QStringLiteral("Verifying file system"));
    o.line(QStringLiteral("File system check exit code is 0"));
    o.line(QStringLiteral("Resizing"));
    o.line(QStringLiteral("Shrinking file system"));
    o.line(QStringLiteral("Modifying partition map"));
    p.size = newSize;
    p.totalSize = newSize;
    qint64 offset = p.offset + newSize;
    Disk* d = m.disk(diskId);
    int index = 0;
    for (int i = 0; i < d->partitions.size(); ++i) {
        if (d->partitions[i].id == partId)
            index = i;
    }
    // New partitions take the next free slice numbers.
    int slice = 0;
    for (const Partition& q : d->partitions)
        slice = qMax(slice, int(idKey(q.id).value(1)));
    for (const NewPart& n : extra) {
        Partition np;
        np.id = diskId + QLatin1Char('s') + QString::number(++slice);
        np.offset = offset;
        np.size = n.size;
        offset += n.size;
        if (d->scheme == QLatin1String("GPT"))
            np.diskUUID = m.newUUID();
        d->partitions.insert(++index, np);
        Partition& added = d->partitions[index];
        formatPartition(m, *d, added, *n.fs, n.name, o);
        d = m.disk(diskId);
    }
    o.line(QStringLiteral("Mounting disk"));
    o.line(QStringLiteral("Finished partitioning on %1 %2").arg(partId, m.partition(partId)->name));
    return 0;
}

} // namespace
} // namespace diskutil

int diskutilMain(MachineState& m, const QStringList& args, Output& o) {
    using namespace diskutil;
    if (args.isEmpty()) {
        o.error(QStringLiteral("Disk Utility Tool"));
        o.error(QStringLiteral("Utility to manage local disks and volumes"));
        return o.fail(
            QStringLiteral("Usage:  diskutil [quiet] <verb> <options>, where <verb> is as follows:"));
    }
    const QString verb = args.first().toLower();
    StateLock lock(m);
    m.load();
    int rc = 0;
    bool changes = true;
    if (verb == QLatin1String("list")) {
        rc = doList(m, args, o);
        changes = false;
    } else if (verb == QLatin1String("info") || verb == QLatin1String("information")) {
        rc = doInfo(m, args, o);
        changes = false;
    } else if (verb == QLatin1String("rename") || verb == QLatin1String("renamevolume")) {
        rc = doRename(m, args, o);
    } else if (verb == QLatin1String("erasevolume")) {
        rc = doEraseVolume(m, args, o, false);
    } else if (verb == QLatin1String("reformat")) {
        rc = doEraseVolume(m, args, o, true);
    } else if (verb == QLatin1String("erasedisk")) {
        rc = doEraseDisk(m, args, o);
    } else if (verb == QLatin1String("eject")) {
        rc = doEject(m, args, o);
    } else if (verb == QLatin1String("unmountdisk")) {
        rc = doUnmountDisk(m, args, o);
    } else if (verb == QLatin1String("mountdisk")) {
        rc = doMountDisk(m, args, o);
    } else if (verb == QLatin1String("unmount") || verb == QLatin1String("umount")) {
        rc = doUnmount(m, args, o);
    } else if (verb == QLatin1String("mount")) {
        rc = doMount(m, args, o);
    } else if (verb == QLatin1String("resizevolume")) {
        rc = doResizeVolume(m, args, o);
    } else {
        return o.fail(QStringLiteral("diskutil: did not recognize verb \"%1\"; type \"diskutil\" for a list")
                          .arg(args.first()));
    }
    if (changes && rc == 0)
        m.save();
    o.code = rc;
    return rc;
}

} // namespace emu