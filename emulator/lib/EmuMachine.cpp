#include "EmuMachine.h"

#include "EmuFileSystems.h"

#if defined(__APPLE__)
#include <mach-o/dyld.h>
#endif
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>
#include <QUuid>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <dirent.h>

#include <cstring>
#include <filesystem>

namespace emu {

namespace {

QString stateFile(const QString& root) {
    return root + QStringLiteral("/var/emulator/state.json");
}

QString storeFolder(const QString& root, const QString& key) {
    return root + QStringLiteral("/var/emulator/store/") + key;
}

// Mount-table escaping as the kernel writes it: space, tab, newline and backslash as octal.
QString escapeMountField(const QString& s) {
    QString out;
    for (QChar c : s) {
        switch (c.unicode()) {
        case ' ':
            out += QStringLiteral("\\040");
            break;
        case '\t':
            out += QStringLiteral("\\011");
            break;
        case '\n':
            out += QStringLiteral("\\012");
            break;
        case '\\':
            out += QStringLiteral("\\134");
            break;
        default:
            out += c;
        }
    }
    return out;
}

qint64 walkBytes(const QByteArray& path, const QList<QByteArray>& skip) {
    DIR* dir = opendir(path.constData());
    if (!dir)
        return 0;
    qint64 total = 0;
    while (dirent* e = readdir(dir)) {
        if (qstrcmp(e->d_name, ".") == 0 || qstrcmp(e->d_name, "..") == 0)
            continue;
        const QByteArray child = path + '/' + e->d_name;
        struct stat st;
        if (lstat(child.constData(), &st) != 0)
            continue;
        if (S_ISDIR(st.st_mode)) {
            if (!skip.contains(child))
                total += walkBytes(child, skip);
        } else {
            total += st.st_size;
        }
    }
    closedir(dir);
    return total;
}

// A tiny deterministic generator for seeded file trees.
struct Lcg {
    quint64 state;
    quint32 next() {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return quint32(state >> 33);
    }
};

void writeBytes(const QString& path, qint64 size, Lcg& rng) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return;
    QByteArray block(qMin<qint64>(size, 65536), Qt::Uninitialized);
    // Text-like content compresses as real documents do.
    static const char words[] = "the quick brown fox jumps over a lazy dog while disks spin and copy ";
    for (int i = 0; i < block.size(); ++i)
        block[i] = words[(rng.next() >> 7) % (sizeof(words) - 1)];
    qint64 left = size;
    while (left > 0) {
        const qint64 n = qMin<qint64>(left, block.size());
        f.write(block.constData(), n);
        left -= n;
    }
}

void seedTree(const QString& folder, const QJsonObject& seed, int level, Lcg& rng) {
    const int files = seed.value(QStringLiteral("files")).toInt(0);
    const int folders = seed.value(QStringLiteral("folders")).toInt(0);
    const int depth = seed.value(QStringLiteral("depth")).toInt(1);
    const qint64 maxSize = seed.value(QStringLiteral("size")).toInteger(4096);
    for (int i = 0; i < files; ++i) {
        const qint64 size = maxSize > 0 ? qint64(rng.next() % quint64(maxSize + 1)) : 0;
        writeBytes(folder + QStringLiteral("/File %1.txt").arg(i + 1, 3, 10, QLatin1Char('0')), size, rng);
    }
    if (level + 1 >= depth)
        return;
    for (int i = 0; i < folders; ++i) {
        const QString sub = folder + QStringLiteral("/Folder %1").arg(i + 1, 2, 10, QLatin1Char('0'));
        QDir().mkpath(sub);
        seedTree(sub, seed, level + 1, rng);
    }
}

// A size in a scenario: a number of bytes, or text.
qint64 sizeValue(const QJsonValue& v) {
    return v.isDouble() ? v.toInteger() : parseSize(v.toString(), SizeUnits::Scenario);
}

Partition partitionFromJson(const QJsonObject& o) {
    Partition p;
    p.id = o.value(QStringLiteral("id")).toString();
    p.content = o.value(QStringLiteral("content")).toString();
    p.size = sizeValue(o.value(QStringLiteral("size")));
    p.offset = o.value(QStringLiteral("offset")).toInteger();
    p.diskUUID = o.value(QStringLiteral("diskUUID")).toString();
    p.fatBits = o.value(QStringLiteral("fatBits")).toInt(32);
    p.caseSensitive = o.value(QStringLiteral("caseSensitive")).toBool(false);
    // The name sets a FAT's width, and may make the volume case-sensitive.
    const FileSystem fs = scenarioFileSystem(o.value(QStringLiteral("fs")).toString());
    p.fs = fs.type;
    // A saved state writes "msdos" with its width apart; a scenario's name ("FAT16") carries it.
    if (p.fs == QLatin1String("msdos") && !o.contains(QStringLiteral("fatBits")))
        p.fatBits = fs.fatBits;
    p.caseSensitive = p.caseSensitive || fs.caseSensitive;
    p.name = o.value(QStringLiteral("name")).toString();
    p.uuid = o.value(QStringLiteral("uuid")).toString();
    p.role = o.value(QStringLiteral("role")).toString();
    p.mounted = o.value(QStringLiteral("mounted")).toBool(p.mountsByDefault());
    p.mountPoint = o.value(QStringLiteral("mountPoint")).toString();
    p.totalSize = sizeValue(o.value(QStringLiteral("totalSize")));
    p.writable = o.value(QStringLiteral("writable")).toBool(p.fs != QLatin1String("ntfs"));
    p.container = o.value(QStringLiteral("container")).toString();
    p.snapshot = o.value(QStringLiteral("snapshot")).toString();
    p.snapshotUUID = o.value(QStringLiteral("snapshotUUID")).toString();
    p.groupId = o.value(QStringLiteral("groupId")).toString();
    p.seed = o.value(QStringLiteral("seed")).toObject();
    p.used = sizeValue(o.value(QStringLiteral("used")));
    p.throttle = sizeValue(o.value(QStringLiteral("throttle")));
    p.busyPid = o.value(QStringLiteral("busyPid")).toInt();
    p.busyProcess = o.value(QStringLiteral("busyProcess")).toString();
    p.busyParentPid = o.value(QStringLiteral("busyParentPid")).toInt();
    p.busyParent = o.value(QStringLiteral("busyParent")).toString();
    return p;
}

QJsonObject partitionToJson(const Partition& p) {
    QJsonObject o;
    o.insert(QStringLiteral("id"), p.id);
    o.insert(QStringLiteral("content"), p.content);
    o.insert(QStringLiteral("size"), p.size);
    o.insert(QStringLiteral("offset"), p.offset);
    o.insert(QStringLiteral("diskUUID"), p.diskUUID);
    o.insert(QStringLiteral("fs"), p.fs);
    o.insert(QStringLiteral("fatBits"), p.fatBits);
    o.insert(QStringLiteral("caseSensitive"), p.caseSensitive);
    o.insert(QStringLiteral("name"), p.name);
    o.insert(QStringLiteral("uuid"), p.uuid);
    o.insert(QStringLiteral("mounted"), p.mounted);
    o.insert(QStringLiteral("mountPoint"), p.mountPoint);
    o.insert(QStringLiteral("totalSize"), p.totalSize);
    o.insert(QStringLiteral("writable"), p.writable);
    o.insert(QStringLiteral("role"), p.role);
    o.insert(QStringLiteral("container"), p.container);
    o.insert(QStringLiteral("snapshot"), p.snapshot);
    o.insert(QStringLiteral("snapshotUUID"), p.snapshotUUID);
    o.insert(QStringLiteral("groupId"), p.groupId);
    o.insert(QStringLiteral("used"), p.used);
    if (p.throttle > 0)
        o.insert(QStringLiteral("throttle"), p.throttle);
    if (!p.seed.isEmpty())
        o.insert(QStringLiteral("seed"), p.seed);
    if (p.busyPid > 0) {
        o.insert(QStringLiteral("busyPid"), p.busyPid);
        o.insert(QStringLiteral("busyProcess"), p.busyProcess);
        o.insert(QStringLiteral("busyParentPid"), p.busyParentPid);
        o.insert(QStringLiteral("busyParent"), p.busyParent);
    }
    return o;
}

} // namespace

QString Disk::wholeContent() const {
    if (!content.isEmpty())
        return content;
    if (container)
        return QString::fromLatin1(kApfsContainerGUID);
    if (scheme == QLatin1String("GPT"))
        return QStringLiteral("GUID_partition_scheme");
    if (scheme == QLatin1String("MBR"))
        return QStringLiteral("FDisk_partition_scheme");
    if (scheme == QLatin1String("APM"))
        return QStringLiteral("Apple_partition_scheme");
    return QString();
}

MachineState::MachineState(const QString& root) : m_root(QDir::cleanPath(root)) {}

QString MachineState::host(const QString& macPath) const {
    if (macPath == QLatin1String("/"))
        return m_root;
    return m_root + macPath;
}

void MachineState::lock() {
    if (m_lockDepth++ > 0)
        return;
    QDir().mkpath(m_root + QStringLiteral("/var/emulator"));
    const QByteArray path = QFile::encodeName(m_root + QStringLiteral("/var/emulator/lock"));
    m_lockFd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (m_lockFd >= 0)
        ::flock(m_lockFd, LOCK_EX);
}

void MachineState::unlock() {
    if (--m_lockDepth > 0)
        return;
    if (m_lockFd >= 0) {
        ::flock(m_lockFd, LOCK_UN);
        ::close(m_lockFd);
    }
    m_lockFd = -1;
}

bool MachineState::load() {
    QFile f(stateFile(m_root));
    if (!f.open(QIODevice::ReadOnly))
        return false;
    const QJsonObject o = QJsonDocument::fromJson(f.readAll()).object();
    if (o.isEmpty())
        return false;
    version = o.value(QStringLiteral("version")).toString();
    build = o.value(QStringLiteral("build")).toString();
    user = o.value(QStringLiteral("user")).toString();
    shape = o.value(QStringLiteral("shape")).toString();
    nextDisk = o.value(QStringLiteral("nextDisk")).toInt();
    asr = o.value(QStringLiteral("asr")).toObject();
    writeThrottle = o.value(QStringLiteral("writeThrottle")).toInteger();
    authorization = o.value(QStringLiteral("authorization")).toString(QStringLiteral("approve"));
    processes.clear();
    for (const QJsonValue& v : o.value(QStringLiteral("processes")).toArray())
        processes << v.toString();
    disks.clear();
    for (const QJsonValue& v : o.value(QStringLiteral("disks")).toArray())
        disks << diskFromJson(v.toObject());
    faults.clear();
    for (const QJsonValue& v : o.value(QStringLiteral("faults")).toArray())
        faults << faultFromJson(v.toObject());
    return true;
}

bool MachineState::save() {
    QJsonObject o;
    o.insert(QStringLiteral("version"), version);
    o.insert(QStringLiteral("build"), build);
    o.insert(QStringLiteral("user"), user);
    o.insert(QStringLiteral("shape"), shape);
    o.insert(QStringLiteral("nextDisk"), nextDisk);
    o.insert(QStringLiteral("asr"), asr);
    o.insert(QStringLiteral("writeThrottle"), writeThrottle);
    o.insert(QStringLiteral("authorization"),
             authorization.isEmpty() ? QStringLiteral("approve") : authorization);
    o.insert(QStringLiteral("processes"), QJsonArray::fromStringList(processes));
    QJsonArray ds;
    for (const Disk& d : disks)
        ds.append(diskToJson(d));
    o.insert(QStringLiteral("disks"), ds);
    QJsonArray fs;
    for (const Fault& f : faults)
        fs.append(faultToJson(f));
    o.insert(QStringLiteral("faults"), fs);
    QDir().mkpath(m_root + QStringLiteral("/var/emulator"));
    QSaveFile f(stateFile(m_root));
    if (!f.open(QIODevice::WriteOnly))
        return false;
    f.write(QJsonDocument(o).toJson(QJsonDocument::Indented));
    const bool ok = f.commit();
    writeMountTable();
    return ok;
}

Disk MachineState::diskFromJson(const QJsonObject& o) {
    Disk d;
    d.id = o.value(QStringLiteral("id")).toString();
    d.bus = o.value(QStringLiteral("bus")).toString(QStringLiteral("USB"));
    d.internal = o.value(QStringLiteral("internal")).toBool(false);
    d.ejectable = o.value(QStringLiteral("ejectable")).toBool(!d.internal);
    d.removable = o.value(QStringLiteral("removable")).toBool(!d.internal);
    d.virtualDisk = o.value(QStringLiteral("virtual")).toBool(false);
    if (o.contains(QStringLiteral("solidState")))
        d.solidState = o.value(QStringLiteral("solidState")).toBool();
    d.raidMaster = o.value(QStringLiteral("raidMaster")).toBool(false);
    d.raidSlice = o.value(QStringLiteral("raidSlice")).toBool(false);
    d.coreStorageEncrypted = o.value(QStringLiteral("coreStorageEncrypted")).toBool(false);
    d.mediaName = o.value(QStringLiteral("mediaName")).toString();
    d.registryName = o.contains(QStringLiteral("registryName"))
                         ? o.value(QStringLiteral("registryName")).toString()
                         : (d.mediaName.isEmpty() ? QString() : d.mediaName + QStringLiteral(" Media"));
    d.size = sizeValue(o.value(QStringLiteral("size")));
    d.scheme = o.value(QStringLiteral("scheme")).toString();
    d.content = o.value(QStringLiteral("content")).toString();
    d.container = o.value(QStringLiteral("container")).toBool(false);
    d.physicalStore = o.value(QStringLiteral("physicalStore")).toString();
    d.image = o.value(QStringLiteral("image")).toString();
    d.plugName = o.value(QStringLiteral("name")).toString();
    for (const QJsonValue& v : o.value(QStringLiteral("partitions")).toArray())
        d.partitions << partitionFromJson(v.toObject());
    return d;
}

QJsonObject MachineState::diskToJson(const Disk& d) {
    QJsonObject o;
    o.insert(QStringLiteral("id"), d.id);
    o.insert(QStringLiteral("bus"), d.bus);
    o.insert(QStringLiteral("internal"), d.internal);
    o.insert(QStringLiteral("ejectable"), d.ejectable);
    o.insert(QStringLiteral("removable"), d.removable);
    o.insert(QStringLiteral("virtual"), d.virtualDisk);
    if (d.solidState)
        o.insert(QStringLiteral("solidState"), *d.solidState);
    o.insert(QStringLiteral("raidMaster"), d.raidMaster);
    o.insert(QStringLiteral("raidSlice"), d.raidSlice);
    o.insert(QStringLiteral("coreStorageEncrypted"), d.coreStorageEncrypted);
    o.insert(QStringLiteral("mediaName"), d.mediaName);
    o.insert(QStringLiteral("registryName"), d.registryName);
    o.insert(QStringLiteral("size"), d.size);
    o.insert(QStringLiteral("scheme"), d.scheme);
    o.insert(QStringLiteral("content"), d.content);
    o.insert(QStringLiteral("container"), d.container);
    o.insert(QStringLiteral("physicalStore"), d.physicalStore);
    o.insert(QStringLiteral("image"), d.image);
    o.insert(QStringLiteral("name"), d.plugName);
    QJsonArray ps;
    for (const Partition& p : d.partitions)
        ps.append(partitionToJson(p));
    o.insert(QStringLiteral("partitions"), ps);
    return o;
}

Fault MachineState::faultFromJson(const QJsonObject& o) {
    Fault f;
    f.tool = o.value(QStringLiteral("tool")).toString();
    f.verb = o.value(QStringLiteral("verb")).toString();
    f.device = o.value(QStringLiteral("device")).toString();
    f.mode = o.value(QStringLiteral("mode")).toString();
    f.seconds = o.value(QStringLiteral("seconds")).toInt(0);
    f.message = o.value(QStringLiteral("message")).toString();
    f.exitCode = o.value(QStringLiteral("exit")).toInt(-1);
    f.times = o.value(QStringLiteral("times")).toInt(-1);
    f.unlessRoot = o.value(QStringLiteral("unlessRoot")).toBool(false);
    return f;
}

QJsonObject MachineState::faultToJson(const Fault& f) {
    QJsonObject o;
    o.insert(QStringLiteral("tool"), f.tool);
    o.insert(QStringLiteral("verb"), f.verb);
    o.insert(QStringLiteral("device"), f.device);
    o.insert(QStringLiteral("mode"), f.mode);
    o.insert(QStringLiteral("seconds"), f.seconds);
    o.insert(QStringLiteral("message"), f.message);
    o.insert(QStringLiteral("exit"), f.exitCode);
    o.insert(QStringLiteral("times"), f.times);
    if (f.unlessRoot)
        o.insert(QStringLiteral("unlessRoot"), true);
    return o;
}

Disk* MachineState::disk(const QString& id) {
    for (Disk& d : disks) {
        if (d.id == id)
            return &d;
    }
    return nullptr;
}

Partition* MachineState::partition(const QString& id) {
    for (Disk& d : disks) {
        for (Partition& p : d.partitions) {
            if (p.id == id)
                return &p;
        }
    }
    return nullptr;
}

Disk* MachineState::containerOf(const Partition& store) {
    return store.container.isEmpty() ? nullptr : disk(store.container);
}

QList<Partition*> MachineState::volumesOn(Disk* d) {
    QList<Partition*> out;
    for (Partition& p : d->partitions) {
        out << &p;
        if (Disk* c = containerOf(p)) {
            for (Partition& v : c->partitions)
                out << &v;
        }
    }
    return out;
}

Partition* MachineState::volumeCarriedBy(Partition& p) {
    Disk* c = containerOf(p);
    return c && !c->partitions.isEmpty() ? &c->partitions.first() : &p;
}

Partition MachineState::efiPartition() {
    Partition efi;
    efi.content = QStringLiteral("EFI");
    efi.fs = QStringLiteral("msdos");
    efi.name = QStringLiteral("EFI");
    efi.size = kEfiSize;
    efi.totalSize = kEfiSize;
    return efi;
}

QJsonObject MachineState::containerDescription(const Disk& d, const QString& storeId, qint64 size) {
    QJsonObject c;
    c.insert(QStringLiteral("container"), true);
    c.insert(QStringLiteral("bus"), d.bus);
    c.insert(QStringLiteral("internal"), d.internal);
    c.insert(QStringLiteral("ejectable"), d.ejectable);
    c.insert(QStringLiteral("removable"), d.removable);
    c.insert(QStringLiteral("size"), size);
    c.insert(QStringLiteral("physicalStore"), storeId);
    c.insert(QStringLiteral("registryName"), QStringLiteral("AppleAPFSMedia"));
    return c;
}

Disk* MachineState::physicalDiskOf(Disk* d) {
    if (!d || !d->container)
        return d;
    for (Disk& other : disks) {
        for (const Partition& p : other.partitions) {
            if (p.id == d->physicalStore)
                return &other;
        }
    }
    return d;
}

Partition* MachineState::systemVolume() {
    for (Disk& d : disks) {
        for (Partition& p : d.partitions) {
            if (p.mounted && p.mountPoint == QLatin1String("/"))
                return &p;
        }
    }
    return nullptr;
}

Located MachineState::locate(const QString& rawArg) {
    Located l;
    QString arg = rawArg;
    if (arg.isEmpty())
        return l;
    if (arg.startsWith(QLatin1String("/dev/r")))
        arg = arg.mid(6);
    else if (arg.startsWith(QLatin1String("/dev/")))
        arg = arg.mid(5);
    for (Disk& d : disks) {
        if (d.id == arg) {
            l.disk = &d;
            return l;
        }
        for (Partition& p : d.partitions) {
            if (p.id == arg || (!p.snapshot.isEmpty() && p.id + QStringLiteral("s1") == arg)) {
                l.disk = &d;
                l.part = &p;
                l.snapshot = p.id != arg;
                return l;
            }
        }
    }
    // Mount points (a trailing slash is allowed), then volume names, then UUIDs.
    QString mp = rawArg;
    while (mp.size() > 1 && mp.endsWith(QLatin1Char('/')))
        mp.chop(1);
    for (int pass = 0; pass < 3; ++pass) {
        for (Disk& d : disks) {
            for (Partition& p : d.partitions) {
                const bool hit =
                    (pass == 0 && p.mounted && p.mountPoint == mp) ||
                    (pass == 1 && p.hasVolume() && !p.name.isEmpty() && p.name == rawArg) ||
                    (pass == 2 &&
                     ((!p.uuid.isEmpty() && p.uuid.compare(rawArg, Qt::CaseInsensitive) == 0) ||
                      (!p.diskUUID.isEmpty() && p.diskUUID.compare(rawArg, Qt::CaseInsensitive) == 0)));
                if (hit) {
                    l.disk = &d;
                    l.part = &p;
                    l.snapshot = pass == 0 && !p.snapshot.isEmpty();
                    return l;
                }
            }
        }
    }
    // "/Volumes/Macintosh HD" is the system volume's other name on a Mac.
    if (Partition* sys = systemVolume()) {
        if (mp == QStringLiteral("/Volumes/") + sys->name) {
            l.part = sys;
            for (Disk& d : disks) {
                for (Partition& p : d.partitions) {
                    if (&p == sys)
                        l.disk = &d;
                }
            }
            l.snapshot = !sys->snapshot.isEmpty();
        }
    }
    return l;
}

QString MachineState::freeMountPoint(const QString& name) const {
    const QString base = QStringLiteral("/Volumes/") + (name.isEmpty() ? QStringLiteral("Untitled") : name);
    for (int n = 0;; ++n) {
        const QString candidate = n == 0 ? base : base + QLatin1Char(' ') + QString::number(n);
        bool taken = QFileInfo::exists(host(candidate)) || QFileInfo(host(candidate)).isSymLink();
        for (const Disk& d : disks) {
            for (const Partition& p : d.partitions)
                taken = taken || (p.mounted && p.mountPoint == candidate);
        }
        if (!taken)
            return candidate;
    }
}

QString MachineState::contentFolder(const Partition& p) const {
    if (p.mounted && !p.mountPoint.isEmpty())
        return host(p.mountPoint);
    return storeFolder(m_root, p.storeKey());
}

bool MachineState::mount(Partition& p) {
    if (p.mounted || !p.hasVolume())
        return p.mounted;
    const QString store = storeFolder(m_root, p.storeKey());
    if (p.mountPoint.isEmpty())
        p.mountPoint = freeMountPoint(p.name);
    p.mounted = true;
    if (p.mountPoint == QLatin1String("/"))
        return true;
    const QString target = host(p.mountPoint);
    QDir().mkpath(QFileInfo(target).absolutePath());
    if (QFileInfo(store).isDir()) {
        if (!QDir().rename(store, target)) {
            p.mounted = false;
            p.mountPoint.clear();
            return false;
        }
    } else {
        QDir().mkpath(target);
    }
    return true;
}

void MachineState::unmount(Partition& p) {
    if (!p.mounted)
        return;
    if (p.mountPoint != QLatin1String("/")) {
        const QString store = storeFolder(m_root, p.storeKey());
        QDir().mkpath(QFileInfo(store).absolutePath());
        QDir(store).removeRecursively();
        QDir().rename(host(p.mountPoint), store);
    }
    p.mounted = false;
    p.mountPoint.clear();
    // The holder loses its open files with the volume.
    p.busyPid = 0;
    p.busyProcess.clear();
    p.busyParentPid = 0;
    p.busyParent.clear();
}

void MachineState::eraseContent(Partition& p) {
    const QString folder = contentFolder(p);
    QDir dir(folder);
    if (!dir.exists())
        return;
    for (const QFileInfo& fi :
         dir.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
        if (fi.isDir() && !fi.isSymLink())
            QDir(fi.absoluteFilePath()).removeRecursively();
        else
            QFile::remove(fi.absoluteFilePath());
    }
}

qint64 MachineState::usedBytes(const Partition& p) const {
    if (!p.hasVolume())
        return 0;
    if (p.mounted && p.mountPoint == QLatin1String("/")) {
        QStringList skip;
        for (const char* s : {"/Volumes", "/System/Volumes", "/var/emulator", "/var/log", "/proc", "/usr"})
            skip << m_root + QLatin1String(s);
        return p.used + folderBytes(m_root, skip);
    }
    return p.used + folderBytes(contentFolder(p));
}

qint64 MachineState::freeBytes(const Partition& p) {
    return qMax<qint64>(0, p.totalSize - usedBytes(p));
}

qint64 MachineState::containerFree(Disk* container) {
    if (!container)
        return 0;
    qint64 used = 0;
    for (const Partition& p : container->partitions)
        used += usedBytes(p);
    return qMax<qint64>(0, container->size - used);
}

QString MachineState::newDiskId() {
    QString id;
    do {
        id = QStringLiteral("disk") + QString::number(nextDisk++);
    } while (disk(id));
    return id;
}

QString MachineState::newUUID() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

Disk& MachineState::addDisk(const QJsonObject& description) {
    Disk d = diskFromJson(description);
    if (d.id.isEmpty() || disk(d.id))
        d.id = newDiskId();
    const bool gpt = d.scheme == QLatin1String("GPT");
    const bool autoEfi = gpt && description.value(QStringLiteral("efi")).toBool(true);
    QList<Partition> parts = d.partitions;
    const QJsonArray partsJson = description.value(QStringLiteral("partitions")).toArray();
    d.partitions.clear();
    qint64 offset = gpt ? 20480 : 1048576;
    if (autoEfi && (parts.isEmpty() || parts.first().content != QLatin1String("EFI"))) {
        parts.prepend(efiPartition());
    }
    QList<QPair<Partition, QJsonArray>> pending;
    int slice = 1;
    for (int i = 0; i < parts.size(); ++i) {
        Partition p = parts[i];
        const int jsonIndex = i - (parts.size() - partsJson.size());
        const QJsonObject pj = jsonIndex >= 0 ? partsJson.at(jsonIndex).toObject() : QJsonObject();
        p.id = d.id + QLatin1Char('s') + QString::number(slice++);
        p.offset = offset;
        if (p.size <= 0) {
            // The rest of the disk, less what the partitions after this one take.
            qint64 later = 0;
            for (int j = i + 1; j < parts.size(); ++j)
                later += parts[j].size;
            p.size = qMax<qint64>(0, d.size - offset - later - (gpt ? 20480 : 0));
        }
        offset += p.size;
        if (p.content.isEmpty())
            p.content = pj.contains(QStringLiteral("volumes")) ? QStringLiteral("Apple_APFS")
                                                               : partitionContent(d.scheme, p);
        if (gpt && p.diskUUID.isEmpty())
            p.diskUUID = newUUID();
        if (p.hasVolume() && p.uuid.isEmpty())
            p.uuid = newUUID();
        if (p.totalSize <= 0 && p.hasVolume())
            p.totalSize = freshCapacity(p);
        if (p.content == QLatin1String("EFI"))
            p.name = QStringLiteral("EFI");
        if (pj.contains(QStringLiteral("volumes"))) {
            p.fs.clear();
            pending.append({p, pj.value(QStringLiteral("volumes")).toArray()});
        }
        d.partitions << p;
    }
    disks << d;
    const QString diskId = d.id;
    // Mount the volumes and seed them; then build the APFS containers of Apple_APFS stores.
    for (Partition& p : disk(diskId)->partitions) {
        if (p.hasVolume() && p.content != QLatin1String("EFI")) {
            const bool seedIt = !QFileInfo(storeFolder(m_root, p.storeKey())).isDir();
            if (p.mounted) {
                p.mounted = false;
                mount(p);
            } else {
                QDir().mkpath(storeFolder(m_root, p.storeKey()));
            }
            if (seedIt)
                seedVolume(p);
        }
    }
    for (auto& [store, volumes] : pending) {
        QJsonObject c = containerDescription(d, store.id, store.size);
        QJsonArray vols;
        for (const QJsonValue& v : volumes) {
            QJsonObject vo = v.toObject();
            vo.insert(QStringLiteral("fs"), vo.value(QStringLiteral("fs")).toString(QStringLiteral("APFS")));
            if (!vo.contains(QStringLiteral("role")))
                vo.insert(QStringLiteral("role"), QStringLiteral("None"));
            vo.insert(QStringLiteral("size"), store.size);
            vo.insert(QStringLiteral("totalSize"), store.size);
            vols.append(vo);
        }
        c.insert(QStringLiteral("partitions"), vols);
        Disk& container = addDisk(c);
        for (Partition& p : container.partitions) {
            if (p.diskUUID.isEmpty())
                p.diskUUID = newUUID();
        }
        if (Partition* s = partition(store.id))
            s->container = container.id;
    }
    return *disk(diskId);
}

void MachineState::removeDisk(const QString& id) {
    Disk* d = disk(id);
    if (!d)
        return;
    QStringList containers;
    for (Partition& p : d->partitions) {
        unmount(p);
        if (!p.container.isEmpty())
            containers << p.container;
    }
    for (qsizetype i = 0; i < disks.size(); ++i) {
        if (disks[i].id == id) {
            disks.removeAt(i);
            break;
        }
    }
    for (const QString& c : containers)
        removeDisk(c);
}

void MachineState::seedVolume(const Partition& p) {
    if (!p.seed.isEmpty())
        seedFolder(contentFolder(p), p.seed);
}

void seedFolder(const QString& folder, const QJsonObject& seed) {
    if (seed.isEmpty())
        return;
    QDir().mkpath(folder);
    Lcg rng{quint64(seed.value(QStringLiteral("seed")).toInt(1)) * 2654435761ULL + 1};
    seedTree(folder, seed, 0, rng);
    if (seed.value(QStringLiteral("system")).toBool(false)) {
        writeBytes(folder + QStringLiteral("/.DS_Store"), 6148, rng);
        for (const char* d : {".Trashes", ".fseventsd", ".Spotlight-V100"})
            QDir().mkpath(folder + QLatin1Char('/') + QLatin1String(d));
        writeBytes(folder + QStringLiteral("/.fseventsd/fseventsd-uuid"), 36, rng);
    }
    const int hidden = seed.value(QStringLiteral("hidden")).toInt(0);
    for (int i = 0; i < hidden; ++i)
        writeBytes(folder + QStringLiteral("/.hidden%1").arg(i + 1), 128, rng);
    for (const QJsonValue& b : seed.value(QStringLiteral("bundles")).toArray()) {
        const QString bundle = folder + QLatin1Char('/') + b.toString();
        const QString base = QFileInfo(b.toString()).completeBaseName();
        QDir().mkpath(bundle + QStringLiteral("/Contents/MacOS"));
        QDir().mkpath(bundle + QStringLiteral("/Contents/Resources"));
        writeBytes(bundle + QStringLiteral("/Contents/Info.plist"), 1024, rng);
        writeBytes(bundle + QStringLiteral("/Contents/MacOS/") + base, 20000, rng);
    }
    const int links = seed.value(QStringLiteral("links")).toInt(0);
    const QStringList files = QDir(folder).entryList(QDir::Files, QDir::Name);
    for (int i = 0; i < links && !files.isEmpty(); ++i)
        QFile::link(files.at(i % files.size()), folder + QStringLiteral("/Link %1").arg(i + 1));
    for (const QJsonValue& v : seed.value(QStringLiteral("explicit")).toArray()) {
        const QJsonObject e = v.toObject();
        const QString path = folder + QLatin1Char('/') + e.value(QStringLiteral("path")).toString();
        QDir().mkpath(QFileInfo(path).absolutePath());
        if (e.contains(QStringLiteral("link"))) {
            QFile::link(e.value(QStringLiteral("link")).toString(), path);
        } else if (e.value(QStringLiteral("folder")).toBool(false)) {
            QDir().mkpath(path);
        } else if (e.contains(QStringLiteral("text"))) {
            QFile f(path);
            if (f.open(QIODevice::WriteOnly))
                f.write(e.value(QStringLiteral("text")).toString().toUtf8());
        } else {
            writeBytes(path, sizeValue(e.value(QStringLiteral("size"))), rng);
        }
    }
}

QString MachineState::throttleOption(const Partition& p) const {
    const qint64 rate = p.throttle > 0 ? p.throttle : writeThrottle;
    if (rate <= 0 || !p.writable)
        return {};
    return QStringLiteral(",throttle=") + QString::number(rate);
}

void MachineState::writeMountTable() const {
    QString table;
    for (const Disk& d : disks) {
        for (const Partition& p : d.partitions) {
            if (!p.mounted)
                continue;
            const QString dev =
                QStringLiteral("/dev/") + p.id +
                (p.snapshot.isEmpty() || p.mountPoint != QLatin1String("/") ? QString()
                                                                            : QStringLiteral("s1"));
            table += escapeMountField(dev) + QLatin1Char(' ') + escapeMountField(p.mountPoint) +
                     QLatin1Char(' ') + filesystemType(p) + QLatin1Char(' ') +
                     (p.writable ? QStringLiteral("rw") : QStringLiteral("ro")) + QStringLiteral(",size=") +
                     QString::number(p.totalSize) + mountOptions(p) + throttleOption(p) +
                     QStringLiteral(" 0 0\n");
        }
    }
    QDir().mkpath(m_root + QStringLiteral("/proc/self"));
    QSaveFile f(m_root + QStringLiteral("/proc/self/mounts"));
    if (f.open(QIODevice::WriteOnly)) {
        f.write(table.toUtf8());
        f.commit();
    }
}

QString executablePath() {
#if defined(__APPLE__)
    char path[4096];
    uint32_t size = sizeof path;
    return _NSGetExecutablePath(path, &size) == 0 ? QFile::decodeName(path) : QString();
#else
    return QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
#endif
}

QString rootFromExecutable() {
    const QString exe = executablePath();
    // <root>/usr/sbin/tool, <root>/usr/bin/tool, <root>/usr/local/bin/tool
    QDir dir = QFileInfo(exe).absoluteDir();
    dir.cdUp();
    if (dir.dirName() == QLatin1String("local"))
        dir.cdUp();
    dir.cdUp();
    return dir.absolutePath();
}

bool runsAsRoot() {
    return qEnvironmentVariable(kRootMarker) == QLatin1String("0");
}

void logInvocation(const QString& root, const QString& tool, const QStringList& args, const QString& event) {
    QDir().mkpath(root + QStringLiteral("/var/log"));
    QJsonObject line;
    line.insert(QStringLiteral("time"), QDateTime::currentDateTime().toString(Qt::ISODateWithMs));
    line.insert(QStringLiteral("tool"), tool);
    line.insert(QStringLiteral("argv"), QJsonArray::fromStringList(args));
    line.insert(QStringLiteral("pid"), qint64(::getpid()));
    if (!event.isEmpty())
        line.insert(QStringLiteral("event"), event);
    if (runsAsRoot())
        line.insert(QStringLiteral("root"), true);
    const QByteArray bytes = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    // One write on an O_APPEND descriptor keeps concurrent lines whole.
    const QByteArray path = QFile::encodeName(root + QStringLiteral("/var/log/emulator.log"));
    const int fd = ::open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd >= 0) {
        const ssize_t written = ::write(fd, bytes.constData(), size_t(bytes.size()));
        Q_UNUSED(written);
        ::close(fd);
    }
}

namespace {

// How one kind of size text is read: a number, then a unit letter (K, M, G, ... each `base`
// times the one before), or a lone B.
struct SizeGrammar {
    double base;
    const char* units;
    double loneB;     // bytes, or 512-byte sectors
    bool unitThenB;   // "16GB": a B may follow the unit
    bool plainNumber; // digits with an optional fraction; else any number toDouble reads
    qint64 refused;   // the answer for text that is no size
};

constexpr SizeGrammar kScenarioSizes{1000, "KMGT", 1, true, false, 0};
constexpr SizeGrammar kDiskutilSizes{1000, "KMGTPE", 1, false, true, -1};
constexpr SizeGrammar kHdiutilSizes{1024, "KMGTPE", 512, false, true, -1};

// Takes the text's last character off when it is one of `letters`; answers its place there.
int takeLetter(QString& text, const char* letters) {
    if (text.isEmpty() || text.back().unicode() > 0x7f || text.back().isNull())
        return -1;
    const char* hit = std::strchr(letters, text.back().toLatin1());
    if (!hit)
        return -1;
    text.chop(1);
    return int(hit - letters);
}

} // namespace

qint64 parseSize(const QString& text, SizeUnits units) {
    const SizeGrammar& g = units == SizeUnits::Diskutil  ? kDiskutilSizes
                           : units == SizeUnits::Hdiutil ? kHdiutilSizes
                                                         : kScenarioSizes;
    QString number = text.trimmed().toUpper();
    double factor = 1;
    const bool b = takeLetter(number, "B") == 0;
    if (b)
        factor = g.loneB;
    if (!b || g.unitThenB) {
        const int unit = takeLetter(number, g.units);
        for (int i = 0; i <= unit; ++i)
            factor *= g.base;
    }
    static const QRegularExpression plain(QStringLiteral("^[0-9]+(\\.[0-9]+)?$"));
    bool ok = false;
    const double value = number.toDouble(&ok);
    if (!ok || (g.plainNumber && !plain.match(number).hasMatch()))
        return g.refused;
    // Exabytes of a few units already pass what a byte count can hold.
    if (!(value * factor < 9.2e18))
        return g.refused;
    return qint64(value * factor);
}

qint64 folderBytes(const QString& hostFolder, const QStringList& skip) {
    QList<QByteArray> skipBytes;
    for (const QString& s : skip)
        skipBytes << QFile::encodeName(s);
    return walkBytes(QFile::encodeName(hostFolder), skipBytes);
}

} // namespace emu
