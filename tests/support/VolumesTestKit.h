#pragma once

#include "EmulatedMac.h"
#include "volumes/VolumeObj.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>

// Scenario pieces and helpers shared by the volume tests.
namespace VolumesTestKit {

// A machine of the given system version with the given disks (a JSON array's contents).
std::unique_ptr<EmulatedMac> machine(const QByteArray& version, const QByteArray& disksJson = {},
                                     const QByteArray& extra = {});

// One USB stick with one FAT32 volume; `fields` adds or overrides disk keys (",\"raidMaster\":true").
QByteArray usbStick(const QByteArray& name, const QByteArray& size = "16GB", const QByteArray& fields = {});

// A USB SSD ("Samsung PSSD T7") holding two volumes: ExFAT "Backup" with 80 GB in use and
// FAT32 "WINDOWS" with a few files.
QByteArray twoVolumeDrive();

// Entries of the machine's /Volumes in the order the directory gives them (hidden ones too).
QStringList volumesListing(const EmulatedMac& mac);

// The BSD name of the device mounted at a Mac mount path, read straight from the mount table.
QString deviceOf(const EmulatedMac& mac, const QString& mountPoint);

// The names of the records, in order, and the record with a name (or null).
QStringList namesOf(const VolumeObjList& list);
VolumeObjRef volumeNamed(const VolumeObjList& list, const QString& name);

} // namespace VolumesTestKit
