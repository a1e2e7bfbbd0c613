#include "volumes/VolumeEnumerator.h"

#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/PropertyList.h"
#include "core/QvPublicUtilities.h"
#include "platform/DiskArbitration.h"
#include "platform/Machine.h"
#include "volumes/UsbWholeDisk.h"

#include <QDir>
#include <QStringList>
#include <QVariantList>

namespace {

using PropertyList::flag;
using PropertyList::number;
using PropertyList::text;

bool hasName(const VolumeObjList& list, const QString& name) {
    for (const VolumeObjRef& v : list) {
        if (v->volumeName() == name)
            return true;
    }
    return false;
}

// The names of the records, for the console lines that list them.
QByteArray namesOf(const VolumeObjList& list) {
    QStringList names;
    for (const VolumeObjRef& v : list)
        names << QStringLiteral("%1 (%2)").arg(v->volumeName(), v->volumePath());
    return QStringLiteral("(%1)").arg(names.join(QStringLiteral(", "))).toUtf8();
}

// The path-and-attributes line written for every file-system query.
void logAttributes(const QString& path, const FileSystemInfo& info) {
    QvConsoleLog("path=%s\nname=%s\nremovable=%d\nwritable=%d\nunmountable=%d\ndescription=%s\ntype=%s, "
                 "size=%lld\n,freeSize=%lld\n\n",
                 path.toUtf8().constData(), info.displayName.toUtf8().constData(), int(info.removable),
                 int(info.writable), int(info.unmountable), info.description.toUtf8().constData(),
                 info.type.toUtf8().constData(), static_cast<long long>(info.size),
                 static_cast<long long>(info.freeSize));
}

} // namespace

VolumeEnumerator::VolumeEnumerator() {
    m_allVolumeArr.reserve(10);
}

void VolumeEnumerator::doGetAllVolume_() {
    m_allVolumeArr.clear();
    // Every entry, hidden ones included, in the order the directory gives them.
    const QStringList entries =
        QDir(Machine::hostPath(QStringLiteral("/Volumes/")))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const QString& name = entries[i];
        if (name == QLatin1String("(null)") || name == QLatin1String(".DS_Store"))
            continue;
        const QString bsdName = DiskArbitration::bsdNameForVolumePath(QStringLiteral("/Volumes/") + name);
        if (!bsdName.isEmpty() && bsdName != QLatin1String(" "))
            getVolumeAllObjWithVolumeName(bsdName);
        // The list is handed over from inside the last entry's handling: when the last entry
        // was skipped above, nothing is shown.
        if (i == entries.size() - 1) {
            addDrives();
            if (m_showView)
                m_showView();
        }
    }
}

void VolumeEnumerator::getVolumeAllObjWithVolumeName(const QString& bsdName) {
    if (hasName(m_allVolumeArr, bsdName))
        return;
    const QByteArray name = bsdName.toUtf8();
    const std::optional<QVariantMap> info = getDisjInfo(name.constData());
    if (!info || !info->contains(QStringLiteral("VolumeName")))
        return;
    if (isHTFSVolumes(bsdName))
        return;
    m_survey.rememberInfo(*info);
    const VolumeObjRef volume = volumeFromInfo(*info);
    m_devices.insert(volume.get(), bsdName);
    m_allVolumeArr.append(volume);
}

void VolumeEnumerator::addDrives() {
    for (const VolumeObjRef& v : m_allVolumeArr)
        v->setDrive(m_survey.driveOf(m_devices.value(v.get())));
}

bool VolumeEnumerator::isHTFSVolumes(const QString& bsdName) {
    const QString path = QStringLiteral("/dev/") + bsdName;
    QvConsoleLog("---------%s", path.toUtf8().constData());
    const FileSystemInfo info = DiskArbitration::fileSystemInfo(path);
    if (!info.found)
        return true;
    logAttributes(path, info);
    if (info.size == 0)
        return true;
    return info.type == QLatin1String("ntfs");
}

void VolumeEnumerator::QvGetUSBThreadImp() {
    const std::optional<QVariantMap> list = runForDictionary(
        Runner::Exec, QvFormatCommand(64, "diskutil list -plist", std::initializer_list<QByteArray>{}),
        "diskutil list error");
    if (list) {
        m_survey.rememberList(*list);
        for (const QVariant& entry : list->value(QStringLiteral("WholeDisks")).toList()) {
            const QByteArray name = entry.toString().section(QLatin1Char('/'), -1).toUtf8();
            QvAddDiskToUSBObj(name.constData());
        }
    }
    addDrives();
    if (m_showView)
        m_showView();
}

void VolumeEnumerator::QvAddDiskToUSBObj(const char* bsdName) {
    if (!bsdName || hasName(m_allVolumeArr, QString::fromUtf8(bsdName)))
        return;
    const std::optional<QVariantMap> info = QvGetDiskInfo(bsdName);
    if (!info)
        return;
    const VolumeObjRef disk = usbDiskFromInfo(*info);
    if (!disk)
        return;
    m_survey.rememberInfo(*info);
    m_devices.insert(disk.get(), QString::fromUtf8(bsdName));
    m_allVolumeArr.append(disk);
    QvConsoleLog("Add %s", namesOf(m_allVolumeArr).constData());
}

VolumeObjRef VolumeEnumerator::volumeFromInfo(const QVariantMap& info) {
    if (!info.contains(QStringLiteral("VolumeName")))
        return VolumeObjRef();
    auto volume = VolumeObjRef::create();
    const std::int64_t total = number(info, "TotalSize");
    std::int64_t free = number(info, "FreeSpace");
    const QString type = text(info, "FilesystemName");
    if (free == 0 && type.toUpper() == QLatin1String("APFS"))
        free = number(info, "APFSContainerFree");
    volume->setVolumeName(text(info, "VolumeName"));
    volume->setBCanEject(flag(info, "Ejectable"));
    volume->setVolumeTotalSize(QvPublicUtilities::longlongConvertVolSpace(total));
    volume->setVolumeType(type);
    volume->setVolumeFreeSize(QvPublicUtilities::longlongConvertVolSpace(free));
    volume->setVolumePath(text(info, "MountPoint"));
    volume->setVolumeMountPoint(text(info, "MountPoint"));
    volume->setVolumeTotalSizeNum(total);
    volume->setVolumeFreeSizeNum(free);
    return volume;
}

VolumeObjRef VolumeEnumerator::usbDiskFromInfo(const QVariantMap& info) {
    if (!isUsbWholeDisk(info))
        return VolumeObjRef();
    auto disk = VolumeObjRef::create();
    const QString model = text(info, "IORegistryEntryName");
    disk->setVolumeName(info.contains(QStringLiteral("IORegistryEntryName")) ? model
                                                                             : QStringLiteral("Unknown"));
    disk->setVolumeTotalSize(QvPublicUtilities::longlongConvertVolSpace(number(info, "TotalSize")));
    disk->setBCanEject(true);
    disk->setVolumeFreeSize(QvPublicUtilities::longlongConvertVolSpace(number(info, "FreeSpace")));
    disk->setVolumePath(text(info, "DeviceIdentifier"));
    disk->setVolumeType(QStringLiteral(" "));
    disk->setVolumeMountPoint(text(info, "MountPoint"));
    disk->setVolumeTotalSizeNum(number(info, "TotalSize"));
    disk->setVolumeFreeSizeNum(number(info, "FreeSpace"));
    return disk;
}

std::optional<QVariantMap> VolumeEnumerator::getDisjInfo(const char* name) {
    if (!name)
        return std::nullopt;
    // Only the whole-disk lookup logs a line that could not be run.
    return runForDictionary(Runner::Exec, QvFormatCommand(64, "diskutil info -plist %s", {QByteArray(name)}));
}

std::optional<QVariantMap> VolumeEnumerator::QvGetDiskInfo(const char* name) {
    return deviceInfo(Runner::Exec, name);
}

void VolumeEnumerator::doGetAllVolume() {
    for (const QString& path : DiskArbitration::mountedLocalVolumePaths()) {
        const FileSystemInfo info = DiskArbitration::fileSystemInfo(path);
        if (!info.found)
            continue;
        logAttributes(path, info);
        if (info.size == 0)
            continue;
        for (const VolumeObjRef& v : m_allVolumeArr) {
            if (v->volumeName() == info.displayName && v->volumePath() == path) {
                QvConsoleLog("%s : return disk : %s", Q_FUNC_INFO, namesOf(m_allVolumeArr).constData());
                return;
            }
        }
        auto volume = VolumeObjRef::create();
        volume->setVolumeName(info.displayName);
        volume->setVolumeType(info.type);
        volume->setVolumePath(path);
        volume->setVolumeMountPoint(path);
        volume->setVolumeTotalSizeNum(info.size);
        volume->setVolumeFreeSizeNum(info.freeSize);
        volume->setVolumeTotalSize(QvPublicUtilities::longlongConvertVolSpace(info.size));
        volume->setVolumeFreeSize(QvPublicUtilities::longlongConvertVolSpace(info.freeSize));
        m_allVolumeArr.append(volume);
    }
}

void VolumeEnumerator::apperDiskObj(const char* bsdName) {
    if (!bsdName)
        return;
    const QString devicePath = QStringLiteral("/dev/") + QString::fromUtf8(bsdName);
    for (const VolumeObjRef& v : m_allVolumeArr) {
        if (v->volumePath() == devicePath)
            return;
    }
    const std::optional<QVariantMap> info = getDisjInfo(bsdName);
    if (!info)
        return;
    // The disk must resolve from its volume path, as the workspace would find it.
    if (DiskArbitration::bsdNameForVolumePath(QStringLiteral("/Volumes/") + text(*info, "VolumeName"))
            .isEmpty())
        return;
    QvConsoleLog("---=====%s", text(*info, "DeviceNode").toUtf8().constData());
    if (!info->contains(QStringLiteral("VolumeName")) || isHTFSVolumes(QString::fromUtf8(bsdName)))
        return;
    auto volume = VolumeObjRef::create();
    volume->setVolumeName(text(*info, "VolumeName"));
    volume->setVolumeTotalSize(QvPublicUtilities::longlongConvertVolSpace(number(*info, "TotalSize")));
    volume->setBCanEject(flag(*info, "Ejectable"));
    volume->setVolumeFreeSize(QvPublicUtilities::longlongConvertVolSpace(number(*info, "FreeSpace")));
    volume->setVolumeType(text(*info, "FilesystemName"));
    volume->setVolumePath(text(*info, "DeviceNode"));
    volume->setVolumeMountPoint(text(*info, "MountPoint"));
    volume->setVolumeTotalSizeNum(number(*info, "TotalSize"));
    volume->setVolumeFreeSizeNum(number(*info, "FreeSpace"));
    // A disk that arrived after the scan is not in its survey's layout: ask afresh.
    volume->setDrive(DriveSurvey(Runner::Exec).driveOf(QString::fromUtf8(bsdName)));
    m_allVolumeArr.append(volume);
    // The main queue is passed through once; nothing is redrawn by this path.
    if (QCoreApplication::instance())
        onMainSync([] {});
}

void VolumeEnumerator::disApperDiskObjWithName(const char* bsdName) {
    if (!bsdName)
        return;
    const QString devicePath = QStringLiteral("/dev/") + QString::fromUtf8(bsdName);
    for (qsizetype i = 0; i < m_allVolumeArr.size(); ++i) {
        if (m_allVolumeArr[i]->volumePath() == devicePath) {
            m_allVolumeArr.removeAt(i);
            return;
        }
    }
}
