#include "osclone/QvUSBControl.h"

#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/QvTask.h"
#include "core/WorkerPool.h"
#include "platform/DiskArbitration.h"
#include "platform/Machine.h"
#include "platform/Shell.h"
#include "volumes/UsbWholeDisk.h"

#include <QFileInfo>
#include <QMutexLocker>
#include <QThread>
#include <QThreadPool>

#include <cstring>

namespace {

constexpr std::int64_t kMinimumDriveSize = 2'500'000'000LL; // tested as size >> 8 >= 9,765,625
static_assert((kMinimumDriveSize >> 8) == 9'765'625);
constexpr std::int64_t kClonePartitionSize = 2'500'000'000LL;
constexpr std::int64_t kMinimumPartitionFree = 2'600'000'000LL;

std::optional<QVariantMap> diskList() {
    return runForDictionary(Runner::QvExec,
                            QvFormatCommand(64, "diskutil list -plist", std::initializer_list<QByteArray>{}),
                            "diskutil list error");
}

QString key(const char* k) {
    return QString::fromLatin1(k);
}

QByteArray describe(const QList<QVariantMap>& list) {
    QStringList drives;
    for (const QVariantMap& d : list)
        drives << QStringLiteral("{%1, %2, %3}")
                      .arg(d.value(key(QvUSBBsdNameKey)).toString(),
                           d.value(key(QvUSBTotalSizeKey)).toString(),
                           d.value(key(QvUSBMediaNameKey)).toString());
    return QStringLiteral("(%1)").arg(drives.join(QStringLiteral(", "))).toUtf8();
}

bool listHas(const QList<QVariantMap>& list, const QString& bsdName) {
    for (const QVariantMap& d : list) {
        if (d.value(key(QvUSBBsdNameKey)).toString() == bsdName)
            return true;
    }
    return false;
}

// A clone target: a USB whole disk of at least the minimum size.
bool isCloneTarget(const QVariantMap& info) {
    const std::int64_t size = info.value(QStringLiteral("TotalSize")).toLongLong();
    return isUsbWholeDisk(info) && (size >> 8) >= (kMinimumDriveSize >> 8);
}

} // namespace

QvUSBControl* QvUSBControl::QvShareInstance() {
    static QvUSBControl* instance = new QvUSBControl;
    return instance;
}

QvUSBControl::QvUSBControl() {
    _usbAllObjs.reserve(4);
    _strZantorVolumeName.reserve(8);
}

QvUSBControl::~QvUSBControl() {
    while (m_pending.load() > 0)
        QThread::msleep(5);
    QMutexLocker locker(&m_listLock);
    _usbAllObjs.clear();
}

QList<QVariantMap> QvUSBControl::QvGetUSBList() const {
    QMutexLocker locker(&m_listLock);
    return _usbAllObjs;
}

void QvUSBControl::QvGetUSBThreadImp() {
    if (const std::optional<QVariantMap> list = diskList()) {
        for (const QVariant& entry : list->value(QStringLiteral("WholeDisks")).toList()) {
            const QByteArray name = entry.toString().section(QLatin1Char('/'), -1).toUtf8();
            QvAddDiskToUSBObj(name.constData());
        }
    }
    // A control that is gone by the time the main loop gets to it starts nothing.
    onMain([this, alive = std::weak_ptr<int>(m_alive)] {
        if (alive.lock())
            QvCreateDiskCallBack();
    });
}

void QvUSBControl::QvAddDiskToUSBObj(const char* bsdName) {
    addDisk(bsdName, std::nullopt);
}

void QvUSBControl::addDisk(const char* bsdName, std::optional<quint64> arrival) {
    if (!bsdName)
        return;
    const QString name = QString::fromUtf8(bsdName);
    {
        QMutexLocker locker(&m_listLock);
        if (listHas(_usbAllObjs, name))
            return;
    }
    const std::optional<QVariantMap> info = QvGetDiskInfo(bsdName);
    if (!info)
        return;
    const std::optional<QVariantMap> found = driveFromInfo(*info);
    if (!found)
        return;
    const QVariantMap& drive = *found;

    QMutexLocker locker(&m_listLock);
    // The drive was pulled out (or came again) while its answer was read: that later event wins.
    if (arrival && m_events.value(name) != *arrival)
        return;
    // Another worker may have added it meanwhile.
    if (listHas(_usbAllObjs, name) || listHas(_usbAllObjs, drive.value(key(QvUSBBsdNameKey)).toString()))
        return;
    _usbAllObjs.append(drive);
    QvConsoleLog("Add %s", describe(_usbAllObjs).constData());
}

void QvUSBControl::QvCreateDiskCallBack() {
    if (_delegateObj)
        _delegateObj->QvEnumUSBFinishImp();
    // One session at a time: a second listing replaces the first session rather than doubling
    // every report.
    m_watcher = std::make_unique<DiskWatcher>();
    QObject::connect(m_watcher.get(), &DiskWatcher::diskAppeared, m_watcher.get(),
                     [this](const QString& bsd) {
                         if (!bsd.isEmpty())
                             QvDiskAppearImp(bsd.toUtf8().constData());
                     });
    QObject::connect(m_watcher.get(), &DiskWatcher::diskDisappeared, m_watcher.get(),
                     [this](const QString& bsd) {
                         if (!bsd.isEmpty())
                             QvDiskDisappearImp(bsd.toUtf8().constData());
                     });
}

void QvUSBControl::QvDiskAppearImp(const char* bsdName) {
    if (!bsdName)
        return;
    struct Name {
        char bytes[128];
    } name{};
    std::strncpy(name.bytes, bsdName, sizeof name.bytes - 1);
    quint64 arrival = 0;
    {
        QMutexLocker locker(&m_listLock);
        arrival = ++m_events[QString::fromUtf8(name.bytes)];
    }
    ++m_pending;
    workerPool()->start([this, name, arrival] {
        addDisk(name.bytes, arrival);
        --m_pending;
    });
}

void QvUSBControl::QvDiskDisappearImp(const char* bsdName) {
    if (!bsdName)
        return;
    const QString name = QString::fromUtf8(bsdName);
    QMutexLocker locker(&m_listLock);
    ++m_events[name];
    for (qsizetype i = 0; i < _usbAllObjs.size(); ++i) {
        if (_usbAllObjs[i].value(key(QvUSBBsdNameKey)).toString() == name) {
            _usbAllObjs.removeAt(i);
            break;
        }
    }
    QvConsoleLog("remove %s", describe(_usbAllObjs).constData());
}

std::optional<QVariantMap> QvUSBControl::QvGetDiskInfo(const char* bsdName) {
    return deviceInfo(Runner::QvExec, bsdName);
}

bool QvUSBControl::QvCheckUSBObj(const QVariantMap* drive) const {
    if (!drive)
        return false;
    QMutexLocker locker(&m_listLock);
    return _usbAllObjs.contains(*drive);
}

QString QvUSBControl::QvCreateZantorPartition(const QVariantMap* drive) {
    if (!drive)
        return QString();
    _dictErrObjs.clear();
    const std::optional<QVariantMap> list = diskList();
    if (!list)
        return QString();
    std::optional<QVariantList> partitions;
    for (const QVariant& e : list->value(QStringLiteral("AllDisksAndPartitions")).toList()) {
        if (_delegateObj && _delegateObj->QvUserIsCancel())
            return QString();
        if ((partitions = partitionsOfEntry(e.toMap(), *drive)))
            break;
    }
    if (!partitions)
        return QString();
    if (partitions->size() < 2) {
        _dictErrObjs.insert(kErrNoRoom, QStringLiteral(""));
        return QString();
    }
    // From the last partition down to the second; the first (the EFI or boot area) is never a
    // candidate.
    for (qsizetype i = partitions->size() - 1; i >= 1; --i) {
        if (_delegateObj && _delegateObj->QvUserIsCancel())
            break;
        const QByteArray id =
            partitions->at(i).toMap().value(QStringLiteral("DeviceIdentifier")).toString().toUtf8();
        const std::optional<QVariantMap> info = QvGetDiskInfo(id.constData());
        if (!info)
            continue;
        std::uint64_t keepBytes = 0;
        const int verdict = partitionVerdict(*info, &keepBytes);
        if (verdict < 0)
            _dictErrObjs.insert(verdict, QStringLiteral(""));
        if (verdict != kPartitionFits)
            continue;
        // The indexing service would keep the volume busy during the resize.
        runShellLine("killall mds_stores");
        QvTask* task = QvTask::QvShareInstance();
        task->QvSetLaunchPath(QStringLiteral("/usr/sbin/diskutil"));
        task->QvSetArguments(
            QStringList{QStringLiteral("resizeVolume"), QString::fromUtf8(id),
                        QString::asprintf("%lluB", static_cast<unsigned long long>(keepBytes)),
                        QStringLiteral("JHFS+"), QvGetZantorVolumeName(),
                        QString::asprintf("%lluB", static_cast<unsigned long long>(kClonePartitionSize))});
        task->QvSetTimeoutCount(60);
        task->QvStartTask();
        if (QFileInfo(Machine::hostPath(QvGetZantorVolumePath())).isDir())
            return QvGetZantorVolumePath();
        _dictErrObjs.insert(kErrVolumeMissing, QStringLiteral(""));
    }
    if (_dictErrObjs.isEmpty())
        _dictErrObjs.insert(kErrNoRoom, QStringLiteral(""));
    return QString();
}

void QvUSBControl::CreateVolumeName() {
    const QString base = QStringLiteral("NewCloneSystem");
    QString name = base;
    for (int i = 1; QFileInfo::exists(Machine::hostPath(QStringLiteral("/Volumes/") + name)); ++i)
        name = QString::asprintf("%s%d", base.toUtf8().constData(), i);
    _strZantorVolumeName = name;
}

std::optional<QVariantMap> QvUSBControl::driveFromInfo(const QVariantMap& info) {
    if (!isCloneTarget(info))
        return std::nullopt;
    QVariantMap drive;
    drive.insert(key(QvUSBBsdNameKey), info.value(QStringLiteral("DeviceIdentifier")).toString());
    drive.insert(key(QvUSBTotalSizeKey), info.value(QStringLiteral("TotalSize")).toLongLong());
    const QString media = info.value(QStringLiteral("MediaName")).toString();
    drive.insert(key(QvUSBMediaNameKey), media.isEmpty() ? QStringLiteral("Unknown") : media);
    return drive;
}

std::optional<QVariantList> QvUSBControl::partitionsOfEntry(const QVariantMap& entry,
                                                            const QVariantMap& drive) {
    if (entry.value(QStringLiteral("DeviceIdentifier")).toString() !=
            drive.value(key(QvUSBBsdNameKey)).toString() ||
        entry.value(QStringLiteral("Size")).toLongLong() != drive.value(key(QvUSBTotalSizeKey)).toLongLong())
        return std::nullopt;
    return entry.value(QStringLiteral("Partitions")).toList();
}

int QvUSBControl::partitionVerdict(const QVariantMap& info, std::uint64_t* keepBytes) {
    const QString content = info.value(QStringLiteral("Content")).toString();
    const std::int64_t free = info.value(QStringLiteral("FreeSpace")).toLongLong();
    if (content == QLatin1String("Apple_Boot") || content == QLatin1String("EFI"))
        return kPartitionSkipped;
    if (content == QLatin1String("Apple_CoreStorage"))
        return kErrCoreStorage;
    if (info.value(QStringLiteral("MountPoint")).toString().isEmpty() && free == 0)
        return kErrNoFreeSpace;
    if (free < kMinimumPartitionFree)
        return kErrNoRoom;
    // A size that leaves nothing to keep (a tool answer whose total is below its free space) is
    // no room either, rather than a resize to a wrapped-around size.
    const std::int64_t total = info.value(QStringLiteral("TotalSize")).toLongLong();
    if (total <= kClonePartitionSize)
        return kErrNoRoom;
    if (keepBytes)
        *keepBytes = static_cast<std::uint64_t>(total - kClonePartitionSize);
    return kPartitionFits;
}

QString QvUSBControl::QvGetZantorVolumePath() const {
    return QStringLiteral("/Volumes/") + _strZantorVolumeName;
}
