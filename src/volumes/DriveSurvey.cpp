#include "volumes/DriveSurvey.h"

#include "core/CommandLine.h"
#include "core/PropertyList.h"

#include <QRegularExpression>
#include <QVariantList>

namespace {

using PropertyList::text;

// "disk6s2" -> "disk6"; a whole disk stays as it is.
QString wholeDiskOf(const QString& device) {
    static const QRegularExpression slice(QStringLiteral("^(disk\\d+)(s\\d+)*$"));
    const QRegularExpressionMatch m = slice.match(device);
    return m.hasMatch() ? m.captured(1) : device;
}

QString bareId(const QString& device) {
    return device.section(QLatin1Char('/'), -1);
}

QList<QVariantMap> entriesOf(const QVariantMap& list) {
    QList<QVariantMap> entries;
    for (const QVariant& e : list.value(QStringLiteral("AllDisksAndPartitions")).toList())
        entries << e.toMap();
    return entries;
}

// The container entry whose physical store is `partition`, if any.
std::optional<QVariantMap> containerOnStore(const QVariantMap& list, const QString& partition) {
    for (const QVariantMap& e : entriesOf(list)) {
        for (const QVariant& store : e.value(QStringLiteral("APFSPhysicalStores")).toList()) {
            if (text(store.toMap(), "DeviceIdentifier") == partition)
                return e;
        }
    }
    return std::nullopt;
}

// The helpers of an APFS system that nobody would call a volume of theirs.
bool isSystemHelper(const QString& name) {
    return name == QLatin1String("Preboot") || name == QLatin1String("Recovery") ||
           name == QLatin1String("VM") || name == QLatin1String("Update");
}

} // namespace

DriveSurvey::DriveSurvey(Runner runner) : m_runner(runner) {}

std::optional<QVariantMap> DriveSurvey::info(const QString& device) {
    if (const auto known = m_infos.constFind(device); known != m_infos.constEnd())
        return *known;
    const std::optional<QVariantMap> answer =
        runForDictionary(m_runner, QvFormatCommand(64, "diskutil info -plist %s", {device.toUtf8()}));
    if (answer)
        m_infos.insert(device, *answer);
    return answer;
}

void DriveSurvey::rememberList(const QVariantMap& list) {
    m_list = list;
    m_listRead = true;
}

void DriveSurvey::rememberInfo(const QVariantMap& info) {
    const QString device = text(info, "DeviceIdentifier");
    if (!device.isEmpty())
        m_infos.insert(device, info);
}

DriveIdentity DriveSurvey::driveOf(const QString& bsdName) {
    if (!m_listRead) {
        m_listRead = true;
        m_list = runForDictionary(
            m_runner, QvFormatCommand(64, "diskutil list -plist", std::initializer_list<QByteArray>{}));
    }
    if (!m_list)
        return DriveIdentity();
    const QString disk = physicalDiskOf(*m_list, bareId(bsdName));
    if (disk.isEmpty())
        return DriveIdentity();
    if (const auto known = m_drives.constFind(disk); known != m_drives.constEnd())
        return *known;
    const std::optional<QVariantMap> diskInfo = info(disk);
    if (!diskInfo)
        return DriveIdentity();
    // The list knows what an APFS volume holds; the volume's own info may not say.
    QHash<QString, QVariant> inUse;
    for (const QVariantMap& e : entriesOf(*m_list)) {
        for (const QVariant& v : e.value(QStringLiteral("APFSVolumes")).toList())
            inUse.insert(text(v.toMap(), "DeviceIdentifier"),
                         v.toMap().value(QStringLiteral("CapacityInUse")));
    }
    QList<QVariantMap> volumeInfos;
    for (const QString& device : volumeDevicesOf(*m_list, disk)) {
        std::optional<QVariantMap> volume = info(device);
        if (!volume)
            continue;
        if (!volume->contains(QStringLiteral("CapacityInUse")) && inUse.contains(device))
            volume->insert(QStringLiteral("CapacityInUse"), inUse.value(device));
        volumeInfos << *volume;
    }
    const DriveIdentity identity = identityFrom(*diskInfo, volumeInfos, startupDiskOf(*m_list));
    m_drives.insert(disk, identity);
    return identity;
}

QString DriveSurvey::physicalDiskOf(const QVariantMap& list, const QString& device) {
    const QString whole = wholeDiskOf(bareId(device));
    for (const QVariantMap& e : entriesOf(list)) {
        if (text(e, "DeviceIdentifier") != whole)
            continue;
        const QVariantList stores = e.value(QStringLiteral("APFSPhysicalStores")).toList();
        if (stores.isEmpty())
            return whole;
        // A synthesized container: the drive is the one holding its store.
        const QString store = text(stores.first().toMap(), "DeviceIdentifier");
        return store.isEmpty() ? whole : wholeDiskOf(store);
    }
    return QString();
}

QStringList DriveSurvey::volumeDevicesOf(const QVariantMap& list, const QString& wholeDisk) {
    QStringList devices;
    for (const QVariantMap& e : entriesOf(list)) {
        if (text(e, "DeviceIdentifier") != wholeDisk)
            continue;
        for (const QVariant& p : e.value(QStringLiteral("Partitions")).toList()) {
            const QVariantMap part = p.toMap();
            const QString id = text(part, "DeviceIdentifier");
            const QString content = text(part, "Content");
            if (content == QLatin1String("EFI"))
                continue;
            if (content == QLatin1String("Apple_APFS")) {
                if (const std::optional<QVariantMap> container = containerOnStore(list, id)) {
                    for (const QVariant& v : container->value(QStringLiteral("APFSVolumes")).toList())
                        devices << text(v.toMap(), "DeviceIdentifier");
                    continue;
                }
            }
            devices << id;
        }
    }
    return devices;
}

QString DriveSurvey::startupDiskOf(const QVariantMap& list) {
    for (const QVariantMap& e : entriesOf(list)) {
        for (const char* key : {"Partitions", "APFSVolumes"}) {
            for (const QVariant& p : e.value(QLatin1String(key)).toList()) {
                const QVariantMap part = p.toMap();
                bool atRoot = text(part, "MountPoint") == QLatin1String("/");
                for (const QVariant& s : part.value(QStringLiteral("MountedSnapshots")).toList())
                    atRoot = atRoot || text(s.toMap(), "SnapshotMountPoint") == QLatin1String("/");
                if (atRoot)
                    return physicalDiskOf(list, text(part, "DeviceIdentifier"));
            }
        }
    }
    return QString();
}

DriveIdentity DriveSurvey::identityFrom(const QVariantMap& diskInfo, const QList<QVariantMap>& volumeInfos,
                                        const QString& startupDisk) {
    DriveIdentity drive;
    drive.device = text(diskInfo, "DeviceNode");
    if (drive.device.isEmpty())
        drive.device = QStringLiteral("/dev/") + text(diskInfo, "DeviceIdentifier");
    // The registry's name is the whole model ("Samsung PSSD T7 Media"); the media name may be
    // shorter or missing.
    drive.model = text(diskInfo, "IORegistryEntryName");
    if (drive.model.isEmpty())
        drive.model = text(diskInfo, "MediaName");
    drive.bus = text(diskInfo, "BusProtocol");
    drive.capacity =
        diskInfo.value(QStringLiteral("TotalSize"), diskInfo.value(QStringLiteral("Size"))).toLongLong();
    drive.startupDisk = !startupDisk.isEmpty() && startupDisk == text(diskInfo, "DeviceIdentifier");
    for (const QVariantMap& v : volumeInfos) {
        const QString name = text(v, "VolumeName");
        if (name.isEmpty() || text(v, "Content") == QLatin1String("EFI") || isSystemHelper(name))
            continue;
        DriveVolume volume;
        volume.name = name;
        volume.device = text(v, "DeviceIdentifier");
        if (v.contains(QStringLiteral("CapacityInUse")))
            volume.usedBytes = v.value(QStringLiteral("CapacityInUse")).toLongLong();
        else if (!text(v, "MountPoint").isEmpty())
            volume.usedBytes = v.value(QStringLiteral("TotalSize")).toLongLong() -
                               v.value(QStringLiteral("FreeSpace")).toLongLong();
        drive.volumes << volume;
    }
    return drive;
}
