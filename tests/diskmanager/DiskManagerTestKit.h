#pragma once

#include "EmulatedMac.h"

// The machine and helpers the Disk Manager tests share.
namespace DiskManagerTestKit {

// A Mac with "/" (APFS), an internal Journaled HFS+ volume "Data", a FAT32 stick "STICK", an
// NTFS disk "WINDOWS", an external APFS volume "Projects" and a FAT32 stick named "EFI".
inline std::unique_ptr<EmulatedMac> managerMachine() {
    return EmulatedMac::fromJson(R"({
      "version": "10.15.7", "user": "alex",
      "system": { "name": "Macintosh HD", "size": "500.28GB", "used": "182GB" }, "disks": [
        { "name": "internal-data", "bus": "SATA", "internal": true, "mediaName": "ST2000DM008-2FR102",
          "size": "2TB", "scheme": "GPT", "partitions": [ { "fs": "JHFS+", "name": "Data", "used": "640GB" } ] },
        { "name": "stick", "mediaName": "SanDisk Cruzer Blade", "size": "16.01GB", "scheme": "MBR",
          "removable": true, "partitions": [ { "fs": "FAT32", "name": "STICK",
            "seed": { "files": 3, "size": 1000, "seed": 3 } } ] },
        { "name": "windows", "mediaName": "WD Elements 25A3", "size": "2TB", "scheme": "MBR",
          "partitions": [ { "fs": "NTFS", "name": "WINDOWS" } ] },
        { "name": "t5", "mediaName": "Samsung Portable SSD T5", "size": "500GB", "scheme": "GPT",
          "partitions": [ { "fs": "APFS", "volumes": [ { "name": "Projects", "used": "12GB" } ] } ] },
        { "name": "efistick", "mediaName": "Generic Flash Disk", "size": "1GB", "scheme": "MBR",
          "partitions": [ { "fs": "FAT32", "name": "EFI" } ] }
      ]
    })");
}

// The disk tool's calls since the log was cleared, without the tool's name: {verb, args...};
// changingOnly leaves out the "info" and "list" lookups of listings.
inline QList<QStringList> diskutilCalls(const EmulatedMac& mac, bool changingOnly = false) {
    QList<QStringList> calls;
    for (QStringList call : mac.calls("diskutil")) {
        call.removeFirst();
        if (!changingOnly ||
            (call.value(0) != QLatin1String("info") && call.value(0) != QLatin1String("list")))
            calls << call;
    }
    return calls;
}
inline QList<QStringList> changingCalls(const EmulatedMac& mac) {
    return diskutilCalls(mac, true);
}

} // namespace DiskManagerTestKit
