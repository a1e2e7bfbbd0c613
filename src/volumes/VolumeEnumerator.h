#pragma once

#include "volumes/DriveSurvey.h"
#include "volumes/VolumeObj.h"

#include <QHash>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>

// The drive picker's scans without its widgets: turns the disk tool's answers into VolumeObj
// records. SelectDiskViewController keeps the operation names and calls these; the scans run
// on a worker thread and fill allVolumeArr without a lock, and the picker reads the list only
// after the scan has handed over through the show-view callback.
class VolumeEnumerator {
public:
    VolumeEnumerator();

    VolumeObjList& allVolumeArr() { return m_allVolumeArr; }
    const VolumeObjList& allVolumeArr() const { return m_allVolumeArr; }

    // Called on the scanning thread when the list is complete and should be shown (the picker
    // hops to the main thread and shows it 0.2 s later).
    void setShowViewHandler(std::function<void()> handler) { m_showView = std::move(handler); }

    void doGetAllVolume_();                                     // mounted volumes, "/Volumes/" order
    void getVolumeAllObjWithVolumeName(const QString& bsdName); // one volume by BSD name
    bool isHTFSVolumes(const QString& bsdName);                 // true: leave the volume out
    void QvGetUSBThreadImp();                                   // whole USB disks
    void QvAddDiskToUSBObj(const char* bsdName);                // one whole disk
    std::optional<QVariantMap> getDisjInfo(const char* name);   // "diskutil info -plist %s"
    std::optional<QVariantMap> QvGetDiskInfo(const char* name); // "diskutil info -plist /dev/%s"
    void doGetAllVolume();                                      // the workspace's mounted volumes
    // Incremental add and remove by BSD name, matched on the record's device node /dev/<name>.
    // The add runs the disk tool on the calling thread (call it from a worker) and passes through
    // the main thread once before it returns.
    void apperDiskObj(const char* bsdName);            // incremental add
    void disApperDiskObjWithName(const char* bsdName); // incremental remove

    // The records made from the disk tool's info dictionary: a mounted volume (null without a
    // VolumeName) and a whole USB disk (null unless the drive lists may offer it).
    static VolumeObjRef volumeFromInfo(const QVariantMap& info);
    static VolumeObjRef usbDiskFromInfo(const QVariantMap& info);

private:
    // Gives every record the drive it lives on (or is), once the scan's own lookups are done.
    void addDrives();

    VolumeObjList m_allVolumeArr;
    DriveSurvey m_survey{Runner::Exec};
    QHash<const VolumeObj*, QString> m_devices; // each record's BSD name, for addDrives()
    std::function<void()> m_showView;
};
