// The emulated hdiutil: create, attach/mount, detach/eject and resize of disk images.

#include "EmuFileSystems.h"
#include "EmuPlist.h"
#include "EmuTools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

namespace emu {

namespace {

// The positional arguments of a verb: everything that is neither an option nor its value.
QStringList positional(const QStringList& args, const QStringList& valued) {
    QStringList out;
    for (qsizetype i = 1; i < args.size(); ++i) {
        const QString& a = args.at(i);
        if (a.startsWith(QLatin1Char('-'))) {
            if (valued.contains(a))
                ++i;
            continue;
        }
        out << a;
    }
    return out;
}

// A path argument as an absolute Mac path; a relative one is taken from "/".
QString absolutePath(const QString& arg) {
    return arg.startsWith(QLatin1Char('/')) ? arg : QStringLiteral("/") + arg;
}

// The mounted volume that holds a Mac path: the longest mount point that prefixes it.
Partition* volumeHolding(MachineState& m, const QString& macPath, Disk** holder) {
    Partition* best = nullptr;
    for (Disk& d : m.disks) {
        for (Partition& p : d.partitions) {
            if (!p.mounted)
                continue;
            const QString mp = p.mountPoint;
            const bool inside =
                mp == QLatin1String("/") || macPath == mp || macPath.startsWith(mp + QLatin1Char('/'));
            if (inside && (!best || mp.size() > best->mountPoint.size())) {
                best = &p;
                *holder = &d;
            }
        }
    }
    // From 10.15 on "/" is read-only and the user's folders live on its data volume.
    if (best && best->mountPoint == QLatin1String("/") && !best->writable) {
        for (Partition& p : (*holder)->partitions) {
            if (p.role == QLatin1String("Data") && p.mounted)
                return &p;
        }
    }
    return best;
}

QString deviceLine(const QString& dev, const QString& hint, const QString& mountPoint) {
    return dev.leftJustified(20) + QLatin1Char('\t') + hint.left(31).leftJustified(31) + QLatin1Char('\t') +
           mountPoint;
}

int createFailed(Output& o, const QString& reason) {
    return o.fail(QStringLiteral("hdiutil: create failed - ") + reason);
}

int doCreate(MachineState& m, const QStringList& args, Output& o) {
    static const QStringList valued = {
        QStringLiteral("-volname"), QStringLiteral("-size"),      QStringLiteral("-fs"),
        QStringLiteral("-format"),  QStringLiteral("-srcfolder"), QStringLiteral("-type"),
        QStringLiteral("-o"),       QStringLiteral("-layout"),    QStringLiteral("-srcdevice"),
        QStringLiteral("-sectors"), QStringLiteral("-megabytes"), QStringLiteral("-fsargs")};
    QString path = option(args, QStringLiteral("-o"));
    const QStringList pos = positional(args, valued);
    if (path.isEmpty() && !pos.isEmpty())
        path = pos.first();
    if (path.isEmpty()) {
        o.error(QStringLiteral("hdiutil: create: Only one image can be created at a time."));
        return o.fail(QStringLiteral("Usage:\thdiutil create <sizespec> <imagepath>"));
    }
    const QString type = option(args, QStringLiteral("-type")).toUpper();
    if (QFileInfo(path).suffix().isEmpty())
        path += type == QLatin1String("SPARSEBUNDLE") ? QStringLiteral(".sparsebundle")
                : type == QLatin1String("SPARSE")     ? QStringLiteral(".sparseimage")
                                                      : QStringLiteral(".dmg");
    path = absolutePath(path);
    const QString hostImage = m.host(path);
    const bool overwrite = args.contains(QStringLiteral("-ov"));
    if (QFileInfo::exists(hostImage) && !overwrite)
        return createFailed(o, QStringLiteral("File exists"));
    if (!QFileInfo(QFileInfo(hostImage).absolutePath()).isDir())
        return createFailed(o, QStringLiteral("No such file or directory"));
    const QString src = option(args, QStringLiteral("-srcfolder"));
    QString hostSrc;
    qint64 srcBytes = 0;
    if (!src.isEmpty()) {
        hostSrc = m.host(absolutePath(src));
        if (!QFileInfo(hostSrc).isDir())
            return createFailed(o, QStringLiteral("No such file or directory"));
        srcBytes = folderBytes(hostSrc);
    }
    const QString sizeArg = option(args, QStringLiteral("-size"));
    qint64 capacity =
        sizeArg.isEmpty() ? srcBytes + srcBytes / 5 + 4 * 1048576 : parseSize(sizeArg, SizeUnits::Hdiutil);
    if (capacity <= 0)
        return createFailed(o, QStringLiteral("Invalid argument"));
    Disk* holderDisk = nullptr;
    if (Partition* holder = volumeHolding(m, path, &holderDisk)) {
        const qint64 free = holder->fs == QLatin1String("apfs") && holderDisk->container
                                ? m.containerFree(holderDisk)
                                : m.freeBytes(*holder);
        if (capacity > free)
            return createFailed(o, QStringLiteral("No space left on device"));
        if (!holder->writable)
            return createFailed(o, QStringLiteral("Read-only file system"));
        // A FAT or ExFAT driver takes no ':' (or the other DOS characters) in a name.
        if (refusesName(*holder, QFileInfo(path).fileName()))
            return createFailed(o, QStringLiteral("Invalid argument"));
    }
    const QString volname = option(args, QStringLiteral("-volname")).isEmpty()
                                ? QStringLiteral("untitled")
                                : option(args, QStringLiteral("-volname"));
    if (srcBytes > capacity) {
        // The copy runs until the image is full.
        QString firstFile;
        const QFileInfoList files = QDir(hostSrc).entryInfoList(QDir::Files | QDir::Hidden, QDir::Name);
        firstFile = files.isEmpty() ? QStringLiteral("data") : files.first().fileName();
        o.write(".");
        o.error(QStringLiteral("could not access /Volumes/%1/%2 - No space left on device")
                    .arg(volname, firstFile));
        return createFailed(o, QStringLiteral("No space left on device"));
    }
    ImageHeader header;
    header.volumeName = volname;
    header.fs = imageFileSystem(option(args, QStringLiteral("-fs")));
    header.capacity = capacity;
    header.format = option(args, QStringLiteral("-format")).isEmpty()
                        ? QStringLiteral("UDRW")
                        : option(args, QStringLiteral("-format"));
    if (overwrite)
        QFile::remove(hostImage);
    QString error;
    if (!writeImage(hostImage, header, hostSrc, &error))
        return createFailed(o, error);
    if (!src.isEmpty()) {
        const int dots =
            int(qBound<qint64>(qint64(3), 3 + srcBytes / qMax<qint64>(1, capacity / 20), qint64(23)));
        o.write(QByteArray(dots, '.') + '\n');
    }
    o.line(QStringLiteral("created: ") + path);
    return 0;
}

int attachFailed(Output& o, const QString& reason) {
    return o.fail(QStringLiteral("hdiutil: attach failed - ") + reason);
}

QVariantMap entity(const QString& dev, const QString& hint, const QString& mountPoint) {
    QVariantMap e{{QStringLiteral("content-hint"), hint},
                  {QStringLiteral("dev-entry"), dev},
                  {QStringLiteral("potentially-mountable"), !mountPoint.isEmpty()},
                  {QStringLiteral("unmapped-content-hint"), hint}};
    if (!mountPoint.isEmpty()) {
        e.insert(QStringLiteral("mount-point"), mountPoint);
        e.insert(QStringLiteral("volume-kind"), QStringLiteral("hfs"));
    }
    return e;
}

void printAttached(MachineState& m, Disk& d, bool plist, Output& o) {
    QVariantList entities;
    auto add = [&](const QString& dev, const QString& hint, const QString& mp) {
        if (plist)
            entities << entity(dev, hint, mp);
        else
            o.line(deviceLine(dev, hint, mp));
    };
    add(QStringLiteral("/dev/") + d.id, d.wholeContent(), QString());
    for (Partition& p : d.partitions) {
        add(QStringLiteral("/dev/") + p.id, p.content, p.mounted ? p.mountPoint : QString());
        if (Disk* c = m.containerOf(p)) {
            add(QStringLiteral("/dev/") + c->id, c->wholeContent(), QString());
            for (Partition& v : c->partitions)
                add(QStringLiteral("/dev/") + v.id, v.content, v.mounted ? v.mountPoint : QString());
        }
    }
    if (plist)
        o.write(writePlist(QVariantMap{{QStringLiteral("system-entities"), entities}}));
}

int doAttach(MachineState& m, const QStringList& args, Output& o) {
    static const QStringList valued = {QStringLiteral("-mountpoint"), QStringLiteral("-mountroot"),
                                       QStringLiteral("-shadow"), QStringLiteral("-section")};
    const QStringList pos = positional(args, valued);
    if (pos.isEmpty())
        return o.fail(QStringLiteral("Usage:\thdiutil attach [options] <image>"));
    const QString path = absolutePath(pos.first());
    const QString hostImage = m.host(path);
    if (!QFileInfo::exists(hostImage))
        return attachFailed(o, QStringLiteral("No such file or directory"));
    ImageHeader header;
    if (!readImageHeader(hostImage, &header))
        return attachFailed(o, QStringLiteral("image not recognized"));
    const bool plist = args.contains(QStringLiteral("-plist"));
    for (Disk& d : m.disks) {
        if (d.image == path) {
            printAttached(m, d, plist, o);
            return 0;
        }
    }
    const bool nomount = args.contains(QStringLiteral("-nomount"));
    const bool readOnly =
        args.contains(QStringLiteral("-readonly")) || header.format != QLatin1String("UDRW");
    QJsonObject desc;
    desc.insert(QStringLiteral("bus"), QStringLiteral("Disk Image"));
    desc.insert(QStringLiteral("internal"), false);
    desc.insert(QStringLiteral("ejectable"), true);
    desc.insert(QStringLiteral("removable"), true);
    desc.insert(QStringLiteral("virtual"), true);
    const QString media = header.format == QLatin1String("UDZO")
                              ? QStringLiteral("Apple UDIF read-only compressed (zlib)")
                          : header.format == QLatin1String("UDRO") ? QStringLiteral("Apple UDIF read-only")
                                                                   : QStringLiteral("Apple read/write");
    desc.insert(QStringLiteral("mediaName"), media);
    desc.insert(QStringLiteral("size"), header.capacity);
    desc.insert(QStringLiteral("scheme"), QStringLiteral("GPT"));
    desc.insert(QStringLiteral("efi"), false);
    desc.insert(QStringLiteral("image"), path);
    QJsonObject part;
    part.insert(QStringLiteral("size"), header.capacity - 40960);
    if (header.fs == QLatin1String("apfs")) {
        QJsonObject vol;
        vol.insert(QStringLiteral("name"), header.volumeName);
        vol.insert(QStringLiteral("mounted"), !nomount);
        vol.insert(QStringLiteral("writable"), !readOnly);
        part.insert(QStringLiteral("volumes"), QJsonArray{vol});
    } else {
        part.insert(QStringLiteral("fs"), header.fs);
        part.insert(QStringLiteral("name"), header.volumeName);
        part.insert(QStringLiteral("mounted"), false);
        part.insert(QStringLiteral("writable"), !readOnly);
    }
    desc.insert(QStringLiteral("partitions"), QJsonArray{part});
    Disk& d = m.addDisk(desc);
    const QString diskId = d.id;
    // The image's files go into the volume's store, then the volume mounts.
    for (Partition& p : d.partitions) {
        Partition* vol = m.volumeCarriedBy(p);
        if (!vol->hasVolume())
            continue;
        if (vol->mounted)
            m.unmount(*vol);
        QString error;
        QDir(m.contentFolder(*vol)).removeRecursively();
        if (!extractImage(hostImage, m.contentFolder(*vol), &error)) {
            m.removeDisk(diskId);
            return attachFailed(o, error);
        }
        if (!nomount)
            m.mount(*vol);
    }
    printAttached(m, *m.disk(diskId), plist, o);
    return 0;
}

int doDetach(MachineState& m, const QStringList& args, Output& o) {
    const QStringList pos = positional(args, {});
    if (pos.isEmpty())
        return o.fail(QStringLiteral("Usage:\thdiutil detach [options] <devname>"));
    Located l = m.locate(pos.first());
    if (!l.disk)
        return o.fail(QStringLiteral("hdiutil: detach failed - No such file or directory"));
    Disk* d = m.physicalDiskOf(l.disk);
    if (d->internal)
        return o.fail(QStringLiteral("hdiutil: couldn't eject \"%1\" - Resource busy").arg(d->id), 16);
    const QString id = d->id;
    for (Partition* p : m.volumesOn(d))
        m.unmount(*p);
    saveImageContent(m, *d);
    m.removeDisk(id);
    o.line(QStringLiteral("\"%1\" ejected.").arg(id));
    return 0;
}

int doResize(MachineState& m, const QStringList& args, Output& o) {
    const QStringList pos = positional(args, {QStringLiteral("-size"), QStringLiteral("-sectors")});
    if (pos.isEmpty())
        return o.fail(QStringLiteral("Usage:\thdiutil resize <sizespec> <image>"));
    const QString path = absolutePath(pos.last());
    ImageHeader header;
    if (!readImageHeader(m.host(path), &header))
        return o.fail(QStringLiteral("hdiutil: resize: failed. No such file or directory (2)"));
    const qint64 used = QFileInfo(m.host(path)).size();
    if (args.contains(QStringLiteral("-limits"))) {
        o.line(QStringLiteral("%1\t%2\t%3")
                   .arg(qMax<qint64>(45056, used / 512))
                   .arg(header.capacity / 512)
                   .arg(qint64(18014398509481903)));
        return 0;
    }
    for (const Disk& d : m.disks) {
        if (d.image == path)
            return o.fail(QStringLiteral("hdiutil: resize: failed. Resource temporarily unavailable (35)"),
                          35);
    }
    const qint64 size = parseSize(option(args, QStringLiteral("-size")), SizeUnits::Hdiutil);
    if (size <= 0)
        return o.fail(QStringLiteral("hdiutil: resize: failed. Invalid argument (22)"));
    // Extract, then write back with the new capacity.
    const QString temp =
        m.root() + QStringLiteral("/var/emulator/resize-") + QString::number(qint64(getpid()));
    QString error;
    if (!extractImage(m.host(path), temp, &error))
        return o.fail(QStringLiteral("hdiutil: resize: failed. ") + error);
    if (folderBytes(temp) > size) {
        QDir(temp).removeRecursively();
        return o.fail(QStringLiteral("hdiutil: resize: failed. Invalid argument (22)"));
    }
    header.capacity = size;
    writeImage(m.host(path), header, temp, &error);
    QDir(temp).removeRecursively();
    return 0;
}

} // namespace

int hdiutilMain(MachineState& m, const QStringList& args, Output& o) {
    if (args.isEmpty())
        return o.fail(QStringLiteral("Usage: hdiutil <verb> <options>"));
    const QString verb = args.first().toLower();
    StateLock lock(m);
    m.load();
    int rc = 0;
    if (verb == QLatin1String("create"))
        rc = doCreate(m, args, o);
    else if (verb == QLatin1String("attach") || verb == QLatin1String("mount"))
        rc = doAttach(m, args, o);
    else if (verb == QLatin1String("detach") || verb == QLatin1String("eject"))
        rc = doDetach(m, args, o);
    else if (verb == QLatin1String("resize"))
        rc = doResize(m, args, o);
    else {
        return o.fail(QStringLiteral("hdiutil: unknown verb \"%1\"").arg(args.first()));
    }
    if (rc == 0 && verb != QLatin1String("create") && verb != QLatin1String("resize"))
        m.save();
    o.code = rc;
    return rc;
}

} // namespace emu
