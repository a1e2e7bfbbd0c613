#include "platform/DiskArbitration.h"

#include "platform/Machine.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QList>
#include <QPair>
#include <QRegularExpression>
#include <QSet>
#include <QTimer>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

// Everything here comes from the mount table (Machine::hostPath("/proc/self/mounts")), which on an
// emulated Mac is kept by the emulator in Linux format with Mac paths:
//
//   /dev/disk3s1 /Volumes/MY\040STICK msdos rw,size=16004757120 0 0
//
// Free space: statvfs of the host folder describes the host's disk, not the emulated volume. On
// an emulated Mac the free bytes are the capacity (size=) minus the bytes of the files stored
// in the volume's folder, which is how the emulated disk tool counts them too. The disk tool
// also counts a fixed "used" amount that a scenario may give a volume and that no file shows;
// that part cannot be seen from here, so the free space given here can be larger than the
// tool's FreeSpace. On a real machine (no emulated root) statvfs is used.

namespace {

struct MountEntry {
    QString device;     // "/dev/disk3s1"
    QString mountPoint; // Mac path
    QString type;       // lower-case type name
    bool writable = false;
    std::int64_t size = -1; // from size=, -1 when the table does not say
    // The emulated driver's limits (maxfilesize=, badchars=, casefold) and pace (throttle=).
    std::int64_t maxFileSize = -1;
    std::int64_t throttle = 0;
    QByteArray refusedNameBytes;
    bool caseFold = false;
};

QString unescapeField(const QByteArray& field) {
    QByteArray out;
    out.reserve(field.size());
    for (int i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && field[i + 1] >= '0' && field[i + 1] <= '3') {
            bool ok = false;
            const int value = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(field[i]);
    }
    return QString::fromUtf8(out);
}

QList<MountEntry> readMountTable() {
    QList<MountEntry> entries;
    QFile file(Machine::hostPath(QStringLiteral("/proc/self/mounts")));
    if (!file.open(QIODevice::ReadOnly))
        return entries;
    const QByteArray bytes = file.readAll();
    for (const QByteArray& rawLine : bytes.split('\n')) {
        const QList<QByteArray> fields = rawLine.simplified().split(' ');
        if (fields.size() < 4)
            continue;
        MountEntry e;
        e.device = unescapeField(fields[0]);
        e.mountPoint = unescapeField(fields[1]);
        e.type = QString::fromUtf8(fields[2]).toLower();
        for (const QByteArray& option : fields[3].split(',')) {
            if (option == "rw")
                e.writable = true;
            else if (option.startsWith("size=")) {
                bool ok = false;
                const qlonglong size = option.mid(5).toLongLong(&ok);
                if (ok)
                    e.size = size;
            } else if (option.startsWith("maxfilesize=")) {
                bool ok = false;
                const qlonglong size = option.mid(12).toLongLong(&ok);
                if (ok)
                    e.maxFileSize = size;
            } else if (option.startsWith("throttle=")) {
                e.throttle = std::max<qlonglong>(0, option.mid(9).toLongLong());
            } else if (option.startsWith("badchars=")) {
                e.refusedNameBytes = QByteArray::fromHex(option.mid(9));
            } else if (option == "casefold") {
                e.caseFold = true;
            }
        }
        // Only device-backed file systems are volumes (a real host also lists proc, sysfs, ...).
        if (!e.device.startsWith(QLatin1String("/dev/")) || !e.mountPoint.startsWith(QLatin1Char('/')))
            continue;
        entries.append(e);
    }
    return entries;
}

QString withoutTrailingSlash(const QString& path) {
    QString p = path;
    while (p.size() > 1 && p.endsWith(QLatin1Char('/')))
        p.chop(1);
    return p;
}

const MountEntry* findByMountPoint(const QList<MountEntry>& table, const QString& path) {
    // Later lines mount over earlier ones at the same point.
    for (qsizetype i = table.size() - 1; i >= 0; --i) {
        if (table[i].mountPoint == path)
            return &table[i];
    }
    return nullptr;
}

// A Mac path that is a link (such as "/Volumes/Macintosh HD" -> "/") resolved to the Mac path of
// its target; the path itself when it is no link or the target is outside the machine.
QString resolvedMacPath(const QString& macPath) {
    const QString host = Machine::hostPath(macPath);
    const QFileInfo info(host);
    if (!info.isSymLink())
        return macPath;
    const QString canonical = info.canonicalFilePath();
    if (canonical.isEmpty())
        return macPath;
    if (!Machine::isEmulated())
        return canonical;
    const QString root = QFileInfo(Machine::root()).canonicalFilePath();
    if (canonical == root)
        return QStringLiteral("/");
    if (canonical.startsWith(root + QLatin1Char('/')))
        return canonical.mid(root.size());
    return macPath;
}

const MountEntry* findVolume(const QList<MountEntry>& table, const QString& path) {
    const QString clean = withoutTrailingSlash(path);
    if (clean.startsWith(QLatin1String("/dev/"))) {
        for (const MountEntry& e : table) {
            if (e.device == clean)
                return &e;
        }
        return nullptr;
    }
    if (const MountEntry* e = findByMountPoint(table, clean))
        return e;
    return findByMountPoint(table, resolvedMacPath(clean));
}

// Apparent size of every file under a host folder, links not followed, skipping the given
// folders (which belong to other volumes mounted inside this one).
std::int64_t folderBytes(const QByteArray& path, const QList<QByteArray>& skip) {
    DIR* dir = ::opendir(path.constData());
    if (!dir)
        return 0;
    std::int64_t total = 0;
    while (const dirent* entry = ::readdir(dir)) {
        if (qstrcmp(entry->d_name, ".") == 0 || qstrcmp(entry->d_name, "..") == 0)
            continue;
        const QByteArray child = path + '/' + entry->d_name;
        struct stat st;
        if (::lstat(child.constData(), &st) != 0)
            continue;
        if (S_ISDIR(st.st_mode)) {
            if (!skip.contains(child))
                total += folderBytes(child, skip);
        } else {
            total += std::int64_t(st.st_size);
        }
    }
    ::closedir(dir);
    return total;
}

std::int64_t emulatedFreeBytes(const MountEntry& e, const QList<MountEntry>& table) {
    const QString host = Machine::hostPath(e.mountPoint);
    QList<QByteArray> skip;
    // Other volumes mounted below this one, and on "/" the machine's own bookkeeping and the
    // folders of the emulated tools, which no Mac volume would count.
    for (const MountEntry& other : table) {
        if (&other != &e && other.mountPoint != e.mountPoint &&
            (e.mountPoint == QLatin1String("/") ||
             other.mountPoint.startsWith(e.mountPoint + QLatin1Char('/'))))
            skip << QFile::encodeName(Machine::hostPath(other.mountPoint));
    }
    if (e.mountPoint == QLatin1String("/")) {
        for (const char* s : {"/Volumes", "/System/Volumes", "/var/emulator", "/var/log", "/proc", "/usr"})
            skip << QFile::encodeName(Machine::hostPath(QString::fromLatin1(s)));
    }
    const std::int64_t used = folderBytes(QFile::encodeName(host), skip);
    return std::max<std::int64_t>(0, e.size - used);
}

QString describe(const QString& type) {
    static const QHash<QString, QString> names = {
        {QStringLiteral("apfs"), QStringLiteral("APFS")},
        {QStringLiteral("hfs"), QStringLiteral("Mac OS Extended")},
        {QStringLiteral("msdos"), QStringLiteral("MS-DOS (FAT)")},
        {QStringLiteral("exfat"), QStringLiteral("ExFAT")},
        {QStringLiteral("ntfs"), QStringLiteral("Windows NT File System (NTFS)")},
    };
    return names.value(type, type);
}

// The name a file manager shows for a mounted volume: the last part of its mount path; for "/"
// the name of the link in /Volumes that leads to it (the system volume's name).
QString displayNameFor(const QString& mountPoint) {
    if (mountPoint != QLatin1String("/"))
        return QFileInfo(mountPoint).fileName();
    const QDir volumes(Machine::hostPath(QStringLiteral("/Volumes")));
    for (const QFileInfo& fi :
         volumes.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        if (fi.isSymLink() &&
            resolvedMacPath(QStringLiteral("/Volumes/") + fi.fileName()) == QLatin1String("/"))
            return fi.fileName();
    }
    return QStringLiteral("/");
}

// "/dev/disk2s1" -> "disk2"; "/dev/disk1s1s1" -> "disk1"; anything else -> the name after /dev/.
QString wholeDiskOf(const QString& device) {
    static const QRegularExpression disk(QStringLiteral("^/dev/(disk[0-9]+)"));
    const QRegularExpressionMatch m = disk.match(device);
    if (m.hasMatch())
        return m.captured(1);
    return device.mid(5);
}

} // namespace

namespace DiskArbitration {

QString bsdNameForVolumePath(const QString& volumePath) {
    const QList<MountEntry> table = readMountTable();
    const QString clean = withoutTrailingSlash(volumePath);
    const MountEntry* e = findByMountPoint(table, clean);
    if (!e)
        e = findByMountPoint(table, resolvedMacPath(clean));
    if (!e)
        return QString();
    return e->device.mid(5);
}

namespace {

FileSystemInfo infoOf(const MountEntry* e, const QList<MountEntry>& table) {
    FileSystemInfo info;
    if (!e)
        return info;
    info.found = true;
    info.type = e->type;
    info.description = describe(e->type);
    info.displayName = displayNameFor(e->mountPoint);
    info.writable = e->writable;
    // The table does not say which media are removable; "/" is the one volume that cannot be
    // unmounted.
    info.removable = false;
    info.unmountable = e->mountPoint != QLatin1String("/");
    if (Machine::isEmulated()) {
        info.size = std::max<std::int64_t>(0, e->size);
        info.freeSize = emulatedFreeBytes(*e, table);
    } else {
        struct statvfs st;
        if (::statvfs(QFile::encodeName(e->mountPoint).constData(), &st) == 0) {
            info.size = std::int64_t(st.f_blocks) * std::int64_t(st.f_frsize);
            info.freeSize = std::int64_t(st.f_bavail) * std::int64_t(st.f_frsize);
        }
        if (e->size >= 0)
            info.size = e->size;
    }
    info.caseSensitive = !e->caseFold;
    info.maxFileSize = e->maxFileSize;
    info.refusedNameBytes = e->refusedNameBytes;
    info.writeBytesPerSecond = e->throttle;
    return info;
}

} // namespace

FileSystemInfo fileSystemInfo(const QString& path) {
    const QList<MountEntry> table = readMountTable();
    return infoOf(findVolume(table, path), table);
}

FileSystemInfo fileSystemInfoForItem(const QString& path) {
    // The longest mount path that is the item's path or one of its parents.
    const QList<MountEntry> table = readMountTable();
    const QString clean = withoutTrailingSlash(path);
    const MountEntry* best = nullptr;
    for (qsizetype i = table.size() - 1; i >= 0; --i) {
        const QString& point = table[i].mountPoint;
        const bool holds =
            point == QLatin1String("/") || clean == point || clean.startsWith(point + QLatin1Char('/'));
        if (holds && (!best || point.size() > best->mountPoint.size()))
            best = &table[i];
    }
    return infoOf(best, table);
}

QStringList mountedLocalVolumePaths() {
    QStringList paths;
    for (const MountEntry& e : readMountTable()) {
        if (paths.contains(e.mountPoint))
            continue;
        if (e.mountPoint == QLatin1String("/"))
            paths.prepend(e.mountPoint);
        else
            paths.append(e.mountPoint);
    }
    return paths;
}

} // namespace DiskArbitration

// The watcher compares the mount table with what it saw last, a few times a second. A volume is
// known by its device and mount path together, so an image detached and attached again under the
// same path between two looks still reports an unmount and a mount. The disks present when the
// watcher starts are its starting point and are not reported.
struct DiskWatcher::Impl {
    QTimer timer;
    QList<QPair<QString, QString>> mounts; // (device, mount path) in table order
    QSet<QString> disks;
};

namespace {

void snapshot(QList<QPair<QString, QString>>* mounts, QSet<QString>* disks) {
    for (const MountEntry& e : readMountTable()) {
        const QPair<QString, QString> key(e.device, e.mountPoint);
        if (!mounts->contains(key))
            mounts->append(key);
        disks->insert(wholeDiskOf(e.device));
    }
}

} // namespace

DiskWatcher::DiskWatcher(QObject* parent) : QObject(parent), d(std::make_unique<Impl>()) {
    snapshot(&d->mounts, &d->disks);
    d->timer.setInterval(200);
    connect(&d->timer, &QTimer::timeout, this, [this] {
        QList<QPair<QString, QString>> mounts;
        QSet<QString> disks;
        snapshot(&mounts, &disks);
        if (mounts == d->mounts && disks == d->disks)
            return;
        const QList<QPair<QString, QString>> oldMounts = d->mounts;
        const QSet<QString> oldDisks = d->disks;
        d->mounts = mounts;
        d->disks = disks;
        // A disk arrives before its volumes mount and leaves after they unmount.
        for (const QString& disk : disks) {
            if (!oldDisks.contains(disk))
                Q_EMIT diskAppeared(disk);
        }
        for (const auto& m : oldMounts) {
            if (!mounts.contains(m))
                Q_EMIT volumeUnmounted(m.second);
        }
        for (const auto& m : mounts) {
            if (!oldMounts.contains(m))
                Q_EMIT volumeMounted(m.second);
        }
        for (const QString& disk : oldDisks) {
            if (!disks.contains(disk))
                Q_EMIT diskDisappeared(disk);
        }
    });
    d->timer.start();
}

DiskWatcher::~DiskWatcher() = default;
