#include "platform/DiskArbitration.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <CoreFoundation/CoreFoundation.h>
#include <DiskArbitration/DiskArbitration.h>

#include <sys/mount.h>
#include <sys/param.h>
#include <sys/stat.h>
#include <unistd.h>

// Older SDKs lack the name; the flag has the same value in every kernel that sets it.
#ifndef MNT_REMOVABLE
#define MNT_REMOVABLE 0x00000200
#endif

// macOS: Disk Arbitration answers which device holds a volume and reports disks and volumes
// coming and going; statfs/getmntinfo give the file-system facts the workspace would give.
// Disk Arbitration calls back on the run loop the session is scheduled on, which is the run loop
// of the thread that created the watcher.

namespace {

QString fromCFString(CFStringRef s) {
    if (!s)
        return QString();
    const CFIndex length = CFStringGetLength(s);
    QString out(int(length), Qt::Uninitialized);
    CFStringGetCharacters(s, CFRangeMake(0, length), reinterpret_cast<UniChar*>(out.data()));
    return out;
}

// A volume path as a file URL; null on failure. The caller releases it.
CFURLRef urlForPath(const QString& path) {
    const QByteArray bytes = QFile::encodeName(path);
    return CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.constData()), CFIndex(bytes.size()), true);
}

// The statfs record of the file system mounted from a device node ("/dev/disk2s1"); false when
// that device is not mounted.
bool statfsForDevice(const QString& device, struct statfs* out) {
    struct statfs* mounts = nullptr;
    const int count = ::getmntinfo(&mounts, MNT_NOWAIT);
    const QByteArray wanted = QFile::encodeName(device);
    for (int i = 0; i < count; ++i) {
        if (qstrcmp(mounts[i].f_mntfromname, wanted.constData()) == 0) {
            *out = mounts[i];
            return true;
        }
    }
    return false;
}

// Hands the disk that holds the volume at path to `use`, when Disk Arbitration knows one; the
// session, the URL and the disk are released afterwards.
template <typename Use> void withDiskForVolumePath(const QString& path, Use use) {
    DASessionRef session = DASessionCreate(kCFAllocatorDefault);
    if (!session)
        return;
    if (CFURLRef url = urlForPath(path)) {
        if (DADiskRef disk = DADiskCreateFromVolumePath(kCFAllocatorDefault, session, url)) {
            use(disk);
            CFRelease(disk);
        }
        CFRelease(url);
    }
    CFRelease(session);
}

QString volumeNameFromDescription(const QString& mountPoint) {
    QString name;
    withDiskForVolumePath(mountPoint, [&name](DADiskRef disk) {
        if (CFDictionaryRef description = DADiskCopyDescription(disk)) {
            const void* value = CFDictionaryGetValue(description, kDADiskDescriptionVolumeNameKey);
            if (value && CFGetTypeID(value) == CFStringGetTypeID())
                name = fromCFString(static_cast<CFStringRef>(value));
            CFRelease(description);
        }
    });
    return name;
}

QString describe(const QString& type) {
    if (type == QLatin1String("apfs"))
        return QStringLiteral("APFS");
    if (type == QLatin1String("hfs"))
        return QStringLiteral("Mac OS Extended");
    if (type == QLatin1String("msdos"))
        return QStringLiteral("MS-DOS (FAT)");
    if (type == QLatin1String("exfat"))
        return QStringLiteral("ExFAT");
    if (type == QLatin1String("ntfs"))
        return QStringLiteral("Windows NT File System (NTFS)");
    return type;
}

} // namespace

namespace DiskArbitration {

QString bsdNameForVolumePath(const QString& volumePath) {
    QString name;
    withDiskForVolumePath(volumePath, [&name](DADiskRef disk) {
        if (const char* bsd = DADiskGetBSDName(disk))
            name = QString::fromUtf8(bsd);
    });
    return name;
}

FileSystemInfo fileSystemInfo(const QString& path) {
    FileSystemInfo info;
    struct statfs st;
    if (path.startsWith(QLatin1String("/dev/"))) {
        if (!statfsForDevice(path, &st))
            return info;
    } else if (::statfs(QFile::encodeName(path).constData(), &st) != 0) {
        return info;
    }
    const QString mountPoint = QFile::decodeName(st.f_mntonname);
    info.found = true;
    info.type = QString::fromUtf8(st.f_fstypename).toLower();
    info.description = describe(info.type);
    info.displayName = volumeNameFromDescription(mountPoint);
    if (info.displayName.isEmpty())
        info.displayName = mountPoint == QLatin1String("/") ? mountPoint : QFileInfo(mountPoint).fileName();
    info.removable = (st.f_flags & MNT_REMOVABLE) != 0;
    info.writable = (st.f_flags & MNT_RDONLY) == 0;
    info.unmountable = (st.f_flags & MNT_ROOTFS) == 0;
    info.size = std::int64_t(st.f_blocks) * std::int64_t(st.f_bsize);
    info.freeSize = std::int64_t(st.f_bavail) * std::int64_t(st.f_bsize);
    // 0 for the volumes that fold case (the usual HFS+, APFS, FAT and ExFAT); the driver itself
    // enforces its limits, so maxFileSize and refusedNameBytes stay unset.
    info.caseSensitive = ::pathconf(st.f_mntonname, _PC_CASE_SENSITIVE) != 0;
    return info;
}

FileSystemInfo fileSystemInfoForItem(const QString& path) {
    QString existing = path;
    while (!QFileInfo::exists(existing) && existing.size() > 1)
        existing = QFileInfo(existing).path();
    return fileSystemInfo(existing);
}

QStringList mountedLocalVolumePaths() {
    QStringList paths;
    struct statfs* mounts = nullptr;
    const int count = ::getmntinfo(&mounts, MNT_NOWAIT);
    for (int i = 0; i < count; ++i) {
        const struct statfs& m = mounts[i];
        // Local volumes the file browser shows: not devfs, not the hidden system mounts.
        if ((m.f_flags & MNT_LOCAL) == 0 || (m.f_flags & MNT_DONTBROWSE) != 0)
            continue;
        const QString path = QFile::decodeName(m.f_mntonname);
        if (path == QLatin1String("/"))
            paths.prepend(path);
        else
            paths.append(path);
    }
    return paths;
}

} // namespace DiskArbitration

namespace {

// What the callbacks need: the watcher to report to, and the mount path of each device seen
// mounted, so that an unmount can name the path that went away.
struct WatchContext {
    DiskWatcher* watcher = nullptr;
    QHash<QString, QString> mountPaths; // BSD name -> mount path
};

QString bsdNameOf(DADiskRef disk) {
    const char* bsd = DADiskGetBSDName(disk);
    return bsd ? QString::fromUtf8(bsd) : QString();
}

QString volumePathOf(CFDictionaryRef description) {
    if (!description)
        return QString();
    const void* value = CFDictionaryGetValue(description, kDADiskDescriptionVolumePathKey);
    if (!value || CFGetTypeID(value) != CFURLGetTypeID())
        return QString();
    UInt8 buffer[PATH_MAX];
    if (!CFURLGetFileSystemRepresentation(static_cast<CFURLRef>(value), true, buffer, sizeof buffer))
        return QString();
    QString path = QFile::decodeName(reinterpret_cast<const char*>(buffer));
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path;
}

bool isWholeDisk(CFDictionaryRef description) {
    if (!description)
        return false;
    const void* value = CFDictionaryGetValue(description, kDADiskDescriptionMediaWholeKey);
    return value && CFGetTypeID(value) == CFBooleanGetTypeID() &&
           CFBooleanGetValue(static_cast<CFBooleanRef>(value));
}

// Reports a mount when a device gained a path and an unmount when it lost its path.
void updateMount(WatchContext* c, const QString& bsd, const QString& path) {
    const QString before = c->mountPaths.value(bsd);
    if (before == path)
        return;
    if (!before.isEmpty()) {
        c->mountPaths.remove(bsd);
        Q_EMIT c->watcher->volumeUnmounted(before);
    }
    if (!path.isEmpty()) {
        c->mountPaths.insert(bsd, path);
        Q_EMIT c->watcher->volumeMounted(path);
    }
}

void appeared(DADiskRef disk, void* context) {
    auto* c = static_cast<WatchContext*>(context);
    CFDictionaryRef description = DADiskCopyDescription(disk);
    const QString bsd = bsdNameOf(disk);
    if (!bsd.isEmpty()) {
        if (isWholeDisk(description))
            Q_EMIT c->watcher->diskAppeared(bsd);
        updateMount(c, bsd, volumePathOf(description));
    }
    if (description)
        CFRelease(description);
}

void disappeared(DADiskRef disk, void* context) {
    auto* c = static_cast<WatchContext*>(context);
    CFDictionaryRef description = DADiskCopyDescription(disk);
    const QString bsd = bsdNameOf(disk);
    if (!bsd.isEmpty()) {
        updateMount(c, bsd, QString());
        if (isWholeDisk(description))
            Q_EMIT c->watcher->diskDisappeared(bsd);
    }
    if (description)
        CFRelease(description);
}

// The volume path key changes when a volume mounts (a path appears) or unmounts (it goes).
void descriptionChanged(DADiskRef disk, CFArrayRef keys, void* context) {
    Q_UNUSED(keys);
    auto* c = static_cast<WatchContext*>(context);
    CFDictionaryRef description = DADiskCopyDescription(disk);
    const QString bsd = bsdNameOf(disk);
    if (!bsd.isEmpty())
        updateMount(c, bsd, volumePathOf(description));
    if (description)
        CFRelease(description);
}

} // namespace

// Unlike the mount-table watcher elsewhere, Disk Arbitration reports every disk present when
// the session is scheduled as appearing (the drive control relies on that on a Mac).
struct DiskWatcher::Impl {
    DASessionRef session = nullptr;
    CFRunLoopRef runLoop = nullptr; // where the session was scheduled
    WatchContext context;
};

DiskWatcher::DiskWatcher(QObject* parent) : QObject(parent), d(std::make_unique<Impl>()) {
    d->context.watcher = this;
    // Volumes mounted before the watcher existed are not news: Disk Arbitration reports every
    // present disk as appearing once the session is scheduled, and their mounts stay unreported.
    struct statfs* mounts = nullptr;
    const int count = ::getmntinfo(&mounts, MNT_NOWAIT);
    for (int i = 0; i < count; ++i) {
        const QString device = QFile::decodeName(mounts[i].f_mntfromname);
        if (device.startsWith(QLatin1String("/dev/")))
            d->context.mountPaths.insert(device.mid(5), QFile::decodeName(mounts[i].f_mntonname));
    }
    d->session = DASessionCreate(kCFAllocatorDefault);
    if (!d->session)
        return;
    DARegisterDiskAppearedCallback(d->session, nullptr, appeared, &d->context);
    DARegisterDiskDisappearedCallback(d->session, nullptr, disappeared, &d->context);
    CFMutableArrayRef watch = CFArrayCreateMutable(kCFAllocatorDefault, 1, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(watch, kDADiskDescriptionVolumePathKey);
    DARegisterDiskDescriptionChangedCallback(d->session, nullptr, watch, descriptionChanged, &d->context);
    CFRelease(watch);
    d->runLoop = CFRunLoopGetCurrent();
    DASessionScheduleWithRunLoop(d->session, d->runLoop, kCFRunLoopDefaultMode);
}

DiskWatcher::~DiskWatcher() {
    if (!d->session)
        return;
    DASessionUnscheduleFromRunLoop(d->session, d->runLoop, kCFRunLoopDefaultMode);
    DAUnregisterCallback(d->session, reinterpret_cast<void*>(appeared), &d->context);
    DAUnregisterCallback(d->session, reinterpret_cast<void*>(disappeared), &d->context);
    DAUnregisterCallback(d->session, reinterpret_cast<void*>(descriptionChanged), &d->context);
    CFRelease(d->session);
}
