#pragma once

// The file systems the emulated Mac knows: the names each tool takes for them, the names
// diskutil prints, the partition types they get on each scheme and their capacity.

#include "EmuMachine.h"

#include <QString>

#include <optional>

namespace emu {

// A file system as a partition carries it.
struct FileSystem {
    QString type;               // FilesystemType: "hfs", "apfs", "msdos", "exfat", "ntfs"; "" for none
    int fatBits = 32;           // msdos: 16 or 32
    bool caseSensitive = false; // hfs and apfs
};

// A scenario's (and the saved state's) "fs": every name diskutil's erase verbs take, the short
// forms "hfs", "msdos", "fat16" and "ntfs", and any other name with "hfs" in it; anything else
// is a partition without a file system. Case does not matter.
FileSystem scenarioFileSystem(const QString& name);
// The format argument of diskutil eraseVolume, eraseDisk and resizeVolume: its personalities and
// their aliases ("JHFS+", "MS-DOS FAT32", "APFSX", "Free Space", ...), in any case; nothing for a
// name diskutil refuses.
std::optional<FileSystem> formatFileSystem(const QString& name);
// hdiutil create -fs: the image's volume by the name's family (APFS, FAT, else HFS+); no name
// makes an APFS image.
QString imageFileSystem(const QString& name);

QString personalityName(const Partition& p); // "Mac OS Extended (Journaled)", "MS-DOS (FAT32)", ...
QString filesystemName(const Partition& p);  // "Journaled HFS+", "MS-DOS FAT32", "APFS", ...
QString filesystemType(const Partition& p);  // "hfs", "msdos", ...
// The partition's Content on a disk with `scheme` ("MBR", "GPT", "APM") for its file system:
// "DOS_FAT_32", "Windows_NTFS", "Microsoft Basic Data", "Apple_HFS", ...; an APFS volume's GUID.
QString partitionContent(const QString& scheme, const Partition& p);
// What the partition's line in the mount table adds after its size, so that the platform layer
// refuses what the Mac's driver for the file system refuses: ",maxfilesize=N" (FAT: 4 GiB - 1),
// ",badchars=<hex bytes>" (FAT and ExFAT: control characters and " * / : < > ? \ |) and
// ",casefold" (every file system but the case-sensitive HFS+ and APFS).
QString mountOptions(const Partition& p);
// True when the partition's file system refuses the name (see mountOptions).
bool refusesName(const Partition& p, const QString& name);
// The capacity of a fresh file system on the partition: FAT keeps a little of it back.
qint64 freshCapacity(const Partition& p);

} // namespace emu
