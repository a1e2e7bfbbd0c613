#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace emu {

// One partition of a whole disk, or one volume of an APFS container (an APFS container is a
// whole disk of its own, as diskutil shows it). A partition without a file system has an
// empty `fs`.
struct Partition {
    QString id;        // disk4s1
    QString content;   // partition type: "EFI", "Apple_HFS", "DOS_FAT_32", APFS volume GUID, ...
    qint64 size = 0;   // partition size in bytes (APFS volumes: the container size)
    qint64 offset = 0; // byte offset of the partition on its disk
    QString diskUUID;  // GPT partition GUID / APFS volume DiskUUID; empty on MBR
    QString fs;        // "", "hfs", "apfs", "msdos", "exfat", "ntfs"
    int fatBits = 32;  // for msdos: 12, 16 or 32
    bool caseSensitive = false;
    QString name; // volume name; empty when the file system has none
    QString uuid; // VolumeUUID
    bool mounted = false;
    QString mountPoint;   // Mac path while mounted
    qint64 totalSize = 0; // file-system capacity
    bool writable = true; // mounted read/write
    QString role;         // APFS: "System", "Data", "Preboot", "Recovery", "VM"; "" otherwise
    QString container;    // Apple_APFS physical store: the container disk it holds
    QString snapshot;     // sealed system: name of the snapshot mounted at "/"
    QString snapshotUUID;
    QString groupId; // APFS volume group of a system and its data volume
    qint64 used = 0; // bytes notionally stored besides the real files (system software)
    // Bytes a second the volume's driver takes in (0: the machine's write throttle, if any):
    // a slow stick, so that long copies can be watched and stopped.
    qint64 throttle = 0;
    QJsonObject seed; // generated files for a fresh volume (see README)
    // A process that holds files open on the mounted volume (emuctl busy): an unmount without
    // "force" is dissented by it. Cleared when the volume is unmounted.
    int busyPid = 0;
    QString busyProcess;   // the holder's executable path, "/bin/zsh"
    int busyParentPid = 0; // its parent, printed as the dissenter's parent when known
    QString busyParent;

    bool hasVolume() const { return !fs.isEmpty(); }
    // Whether the volume mounts with its disk: EFI and the APFS Preboot, Recovery and VM
    // volumes mount only when named.
    bool mountsByDefault() const {
        return hasVolume() && content != QLatin1String("EFI") && role != QLatin1String("Preboot") &&
               role != QLatin1String("Recovery") && role != QLatin1String("VM");
    }
    // Where the content of the volume lives on the host while it is unmounted.
    QString storeKey() const { return uuid.isEmpty() ? id : uuid; }
};

struct Disk {
    QString id; // disk4
    QString bus = QStringLiteral("USB");
    bool internal = false;
    bool ejectable = true;
    bool removable = true;    // Removable / RemovableMedia (sticks: true; USB SSDs: false)
    bool virtualDisk = false; // VirtualOrPhysical "Virtual"
    std::optional<bool> solidState;
    bool raidMaster = false;
    bool raidSlice = false;
    bool coreStorageEncrypted = false;
    QString mediaName;    // "SanDisk 3.2Gen1"; empty for no model name
    QString registryName; // IORegistryEntryName; absent when empty
    qint64 size = 0;
    QString scheme;         // "GPT", "MBR", "APM" or "" (no partition map)
    QString content;        // whole-disk Content override (e.g. "Apple_HFSX"); empty: from scheme
    bool container = false; // synthesized APFS container
    QString physicalStore;  // container: the Apple_APFS partition that holds it
    QString image;          // disk image: Mac path of the image file
    QString plugName;       // the name emuctl knows the disk by (scenario "name")
    QList<Partition> partitions;

    QString wholeContent() const;
};

struct Fault {
    QString tool;            // "diskutil", "asr", "hdiutil", "zip", "sw_vers", "killall"
    QString verb;            // diskutil/hdiutil verb, "" for any
    QString device;          // only when one of the arguments names this device; "" for any
    QString mode;            // "silent", "garbage", "truncated", "hang", "fail"
    int seconds = 0;         // hang
    QString message;         // fail: the message printed (default: the tool's own for the verb)
    int exitCode = -1;       // -1: the mode's own (fail: 1, others: 0)
    int times = -1;          // how many more calls it applies to; -1 = always
    bool unlessRoot = false; // only calls that do not run as root
};

// Where a volume is found: the partition and the disk (or container) that holds it.
struct Located {
    Disk* disk = nullptr;
    Partition* part = nullptr; // null when the whole disk was named
    bool snapshot = false;     // the sealed snapshot device (diskNsMs1) was named
};

// The emulated Mac: its state (disks, version, user, fault knobs) kept as JSON under
// var/emulator, its folders on the host, its mount table and its invocation log.
class MachineState {
public:
    explicit MachineState(const QString& root);

    QString root() const { return m_root; }
    QString host(const QString& macPath) const;

    // Exclusive lock over the state for the duration of a change. Re-entrant per object.
    void lock();
    void unlock();
    bool load();
    bool save(); // also rewrites the mount table

    // Machine facts.
    QString version;
    QString build;
    QString user;
    QString shape; // "hfs", "apfs", "catalina", "sealed"
    QList<Disk> disks;
    QList<Fault> faults;
    QJsonObject asr;          // delivery knobs
    QString authorization;    // how the administrator dialog is answered: "approve", "deny", "cancel"
    QStringList processes;    // what killall can find
    qint64 writeThrottle = 0; // bytes a second every volume without a throttle of its own takes in
    int nextDisk = 0;

    // Lookups. `arg` is anything diskutil accepts: disk4s1, /dev/disk4s1, a mount point, a
    // volume name or a UUID.
    Located locate(const QString& arg);
    Disk* disk(const QString& id);
    Partition* partition(const QString& id);
    Disk* containerOf(const Partition& store);
    // Every partition of a disk, each followed by the volumes of the APFS container it holds.
    QList<Partition*> volumesOn(Disk* d);
    // The volume a partition carries: itself, or the first volume of the APFS container it holds.
    Partition* volumeCarriedBy(Partition& p);
    Disk* physicalDiskOf(Disk* d); // for a container, the disk holding its store
    Partition* systemVolume();     // the volume mounted at "/"

    // Mounting keeps the folders, the mount table and the store in step.
    QString freeMountPoint(const QString& name) const;
    bool mount(Partition& p);
    void unmount(Partition& p);
    QString contentFolder(const Partition& p) const; // host folder of the volume's files
    void eraseContent(Partition& p);
    qint64 usedBytes(const Partition& p) const;
    qint64 freeBytes(const Partition& p);
    qint64 containerFree(Disk* container);

    // Plug and unplug as a person does with a USB disk.
    Disk& addDisk(const QJsonObject& description);
    // The EFI system partition a GPT disk starts with; its place and identifiers are still to set.
    static Partition efiPartition();
    // The description of an APFS container on store `storeId` of disk `d` (volumes not included).
    static QJsonObject containerDescription(const Disk& d, const QString& storeId, qint64 size);
    void removeDisk(const QString& id); // unmounts its volumes, removes its containers too
    QString newDiskId();
    QString newUUID();

    // Content seeding of a fresh volume.
    void seedVolume(const Partition& p);

    // Mount table in Linux format with Mac paths (proc/self/mounts).
    void writeMountTable() const;
    // ",throttle=<bytes a second>" for a writable volume that is throttled, else nothing.
    QString throttleOption(const Partition& p) const;

    static Disk diskFromJson(const QJsonObject& o);
    static QJsonObject diskToJson(const Disk& d);
    static Fault faultFromJson(const QJsonObject& o);
    static QJsonObject faultToJson(const Fault& f);

private:
    QString m_root;
    int m_lockFd = -1;
    int m_lockDepth = 0;
    quint64 m_uuidCounter = 0;
};

// Holds the state lock for a scope, or until unlock().
class StateLock {
public:
    explicit StateLock(MachineState& s) : m_s(&s) { m_s->lock(); }
    ~StateLock() { unlock(); }
    StateLock(const StateLock&) = delete;
    StateLock& operator=(const StateLock&) = delete;

    // Gives the lock up before the scope ends (before a tool waits on a person, say).
    void unlock() {
        if (m_s)
            m_s->unlock();
        m_s = nullptr;
    }

private:
    MachineState* m_s;
};

// The path this program was started from (a machine's usr/sbin/diskutil, not the file it links to).
QString executablePath();
// The root of the machine a tool binary lives in (<root>/usr/sbin/diskutil -> <root>).
QString rootFromExecutable();
// Appends one line to var/log/emulator.log: the time, the tool, its argv as a JSON array, the
// process id and, for a call that runs as root, "root": true. A line for something the tool did
// later than its start (`event`, "end") carries that word too.
void logInvocation(const QString& root, const QString& tool, const QStringList& args,
                   const QString& event = QString());

// Whether this process runs as root on the emulated Mac: only what the emulated osascript starts
// after an approved administrator dialog does (it marks its child's environment so).
bool runsAsRoot();
constexpr const char* kRootMarker = "EMULATOR_EUID";

// Fills a folder with a generated tree as a scenario's "seed" describes it.
void seedFolder(const QString& hostFolder, const QJsonObject& seed);

// Bytes stored under a host folder (apparent sizes, links not followed); folders listed in
// `skip` (absolute host paths) are left out.
qint64 folderBytes(const QString& hostFolder, const QStringList& skip = {});

// Who reads a size, and so how it is written:
//   Scenario  bytes, or decimal units with an optional B: "16GB", "500.28GB", "200m", "1000B";
//   Diskutil  decimal units, B for bytes: "400G", "2500000000B", "16m";
//   Hdiutil   binary units, b for 512-byte sectors: "200m" (MiB), "1g" (GiB), "2048b".
// Case does not matter. Text that is no size reads as 0 in a scenario and -1 for the tools.
enum class SizeUnits { Scenario, Diskutil, Hdiutil };
qint64 parseSize(const QString& text, SizeUnits units);

constexpr const char* kApfsVolumeGUID = "41504653-0000-11AA-AA11-00306543ECAC";
constexpr const char* kApfsContainerGUID = "EF57347C-0000-11AA-AA11-00306543ECAC";
constexpr qint64 kEfiSize = 209715200;

} // namespace emu
