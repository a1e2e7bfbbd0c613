#pragma once

#include "EmulatedMac.h"
#include "volumes/VolumeObj.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

// The machine and helpers the Disk Manager tests share.
namespace DiskManagerTestKit {

// A Mac with "/" (APFS), an internal Journaled HFS+ volume "Data", a FAT32 stick "STICK", an
// NTFS disk "WINDOWS", an external APFS volume "Projects" and a FAT32 stick named "EFI".
std::unique_ptr<EmulatedMac> managerMachine();

// The disk tool's calls since the log was cleared, without the tool's name: {verb, args...};
// changingOnly leaves out the "info" and "list" lookups of listings.
QList<QStringList> diskutilCalls(const EmulatedMac& mac, bool changingOnly = false);
inline QList<QStringList> changingCalls(const EmulatedMac& mac) {
    return diskutilCalls(mac, true);
}

} // namespace DiskManagerTestKit
