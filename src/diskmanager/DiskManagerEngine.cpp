#include "diskmanager/DiskManagerEngine.h"

#include "core/MainThread.h"
#include "core/PropertyList.h"
#include "core/QvPublicUtilities.h"
#include "core/WorkerPool.h"
#include "diskmanager/VolumeOperations.h"
#include "platform/DiskArbitration.h"
#include "platform/Machine.h"
#include "volumes/DriveSurvey.h"

#include <QDir>
#include <QPointer>
#include <QThread>
#include <QThreadPool>

#include <utility>

namespace {

using PropertyList::number;
using PropertyList::text;

// Runs work on the worker pool, counted in `workers` until it is done.
template <typename Fn> void startCounted(const std::shared_ptr<std::atomic<int>>& workers, Fn&& work) {
    workers->fetch_add(1);
    workerPool()->start([workers, work = std::forward<Fn>(work)]() mutable {
        work();
        workers->fetch_sub(1);
    });
}

} // namespace

DiskManagerEngine::DiskManagerEngine(QObject* parent) : QObject(parent) {
    m_allVolumeArr.reserve(10);
}

DiskManagerEngine::~DiskManagerEngine() {
    while (m_workers->load() > 0)
        QThread::msleep(5);
}

bool DiskManagerEngine::getallVolumes() {
    if (m_isScanV.exchange(true))
        return false;
    const unsigned generation = ++m_listingGeneration;
    // The last list stays until the new one replaces it: the tab keeps its rows (and their
    // widgets) instead of making every one anew at each plug.
    Q_EMIT listingStarted();
    QPointer<DiskManagerEngine> self(this);
    startCounted(m_workers, [self, generation] {
        VolumeObjList found = listVolumes();
        onMain([self, generation, found = std::move(found)] {
            if (!self || generation != self->m_listingGeneration)
                return;
            self->m_allVolumeArr = found;
            self->m_isScanV.store(false);
            Q_EMIT self->listingFinished();
        });
    });
    return true;
}

void DiskManagerEngine::formatVolume(const VolumeObjRef& volume, const QString& name, const QString& type) {
    // The worker formats a copy, so a listing replacing the records cannot pull it away.
    const VolumeObj target = volume ? *volume : VolumeObj();
    QPointer<DiskManagerEngine> self(this);
    startCounted(m_workers, [self, target, name, type] {
        const VolumeOperations::Outcome outcome = VolumeOperations::formatVolume(target, name, type);
        onMain([self, outcome] {
            if (self)
                Q_EMIT self->formatFinished(outcome);
        });
    });
}

void DiskManagerEngine::renameVolume(const VolumeObjRef& volume, const QString& editedText) {
    if (!volume)
        return;
    VolumeObj copy = *volume;
    QPointer<DiskManagerEngine> self(this);
    startCounted(m_workers, [self, volume, copy, editedText]() mutable {
        const VolumeOperations::Outcome outcome = VolumeOperations::renameVolume(copy, editedText);
        onMain([self, volume, name = copy.volumeName(), editedText, outcome] {
            if (outcome.succeeded)
                volume->setVolumeName(name);
            if (self)
                Q_EMIT self->renameFinished(volume, editedText, outcome);
        });
    });
}

void DiskManagerEngine::ejectVolume(const VolumeObjRef& volume) {
    startEject(volume, false);
}

void DiskManagerEngine::forceEjectVolume(const VolumeObjRef& volume) {
    startEject(volume, true);
}

void DiskManagerEngine::startEject(const VolumeObjRef& volume, bool force) {
    if (!volume)
        return;
    QPointer<DiskManagerEngine> self(this);
    startCounted(m_workers, [self, volume, force, target = *volume] {
        const VolumeOperations::Outcome outcome =
            force ? VolumeOperations::forceEjectVolume(target) : VolumeOperations::ejectVolume(target);
        onMain([self, volume, outcome] {
            if (self)
                Q_EMIT self->ejectFinished(volume, outcome);
        });
    });
}

VolumeObjList DiskManagerEngine::listVolumes() {
    VolumeObjList list;
    DriveSurvey survey(Runner::AepairExec);
    // Every entry, hidden ones included, in the order the directory gives them; a missing
    // folder gives none.
    const QStringList entries =
        QDir(Machine::hostPath(QStringLiteral("/Volumes/")))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QString& name : entries) {
        if (name == QLatin1String("(null)") || name == QLatin1String(".DS_Store"))
            continue;
        const QString bsdName = DiskArbitration::bsdNameForVolumePath(QStringLiteral("/Volumes/") + name);
        if (bsdName.isEmpty() || bsdName == QLatin1String(" "))
            continue;
        getVolumeAllObjWithVolumeName(bsdName, list, &survey);
    }
    addDrives(list, survey);
    return list;
}

void DiskManagerEngine::addDrives(VolumeObjList& list, DriveSurvey& survey) {
    for (const VolumeObjRef& volume : list)
        volume->setDrive(survey.driveOf(volume->volumePath()));
}

void DiskManagerEngine::getVolumeAllObjWithVolumeName(const QString& bsdName, VolumeObjList& list,
                                                      DriveSurvey* survey) {
    for (const VolumeObjRef& v : list) {
        if (v->volumeName() == bsdName)
            return;
    }
    const QByteArray name = bsdName.toUtf8();
    const std::optional<QVariantMap> info = VolumeOperations::getDisjInfo(name.constData());
    if (!info)
        return;
    if (survey)
        survey->rememberInfo(*info);
    addVolumeFromInfo(*info, list);
}

void DiskManagerEngine::addVolumeFromInfo(const QVariantMap& info, VolumeObjList& list) {
    const QString volumeName = text(info, "VolumeName");
    const QString deviceNode = text(info, "DeviceNode");
    for (const VolumeObjRef& v : list) {
        if (v->volumeName() == volumeName && v->volumePath() == deviceNode)
            return;
    }
    if (!info.contains(QStringLiteral("VolumeName")) || volumeName == QLatin1String("EFI"))
        return;
    list.append(volumeFromInfo(info));
}

VolumeObjRef DiskManagerEngine::volumeFromInfo(const QVariantMap& info) {
    auto volume = VolumeObjRef::create();
    volume->setVolumeName(text(info, "VolumeName"));
    volume->setBusProtocol(text(info, "BusProtocol"));
    volume->setBCanEject(info.value(QStringLiteral("Ejectable")).toBool());
    const std::int64_t total = number(info, "TotalSize");
    volume->setVolumeTotalSize(byteToSizeWithByte(total));
    volume->setVolumeTotalSizeNum(total);
    volume->setDiskType(text(info, "FilesystemName"));
    std::int64_t free = number(info, "FreeSpace");
    // An APFS volume reports no free space of its own; its container's is what it can use.
    if (text(info, "FilesystemName") == QLatin1String("APFS") && free == 0) {
        free = number(info, "APFSContainerFree");
        volume->setDiskType(QStringLiteral("APFS"));
    }
    volume->setVolumeFreeSize(byteToSizeWithByte(free));
    volume->setVolumeFreeSizeNum(free);
    volume->setVolRootDir(text(info, "DeviceNode"));
    volume->setVolumePath(text(info, "DeviceNode"));
    volume->setParentWholeDisk(text(info, "ParentWholeDisk"));
    volume->setVolumeMountPoint(text(info, "MountPoint"));
    volume->setDiskUUID(text(info, "VolumeUUID"));
    return volume;
}

QString DiskManagerEngine::byteToSizeWithByte(std::int64_t bytes) {
    return QvPublicUtilities::longlongConvertVolSpace(bytes);
}
