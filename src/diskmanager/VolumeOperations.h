#pragma once

#include "volumes/VolumeObj.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

// The Disk Manager's work on one volume through the disk tool: rename, format (erase, or
// rename-and-reformat for APFS) and eject, plus the disk-info lookup its listing uses. No
// widgets and no state: each operation formats its command line, runs it through its runner and
// answers what happened. None of them reads the tool's verdict; the next listing shows the
// truth.
//
// Rename, eject and the info lookup share aepairExecCommand's one output file; the runner keeps
// a run and the read of its file together, so a listing on a worker and an eject on the main
// thread never read each other's answers.
class VolumeOperations {
public:
    VolumeOperations() = delete;

    // Which of the three ways a volume is formatted, by its diskType (case-insensitive).
    enum class FormatBranch { General, Ntfs, Apfs };
    static FormatBranch formatBranch(const QString& diskType);

    // True when the text holds a character from U+4E01 to U+9FFE (U+4E00 is deliberately not
    // counted).
    static bool containsChinese(const QString& text);
    // A name FAT32 takes: upper-cased and cut to 11 characters, or "NEW" when the text as typed
    // holds a character containsChinese() finds.
    static QString fat32Name(const QString& text);
    // Empty, missing or a single blank: no name at all.
    static bool isBlankName(const QString& text);

    // Renames the volume (by diskUUID) to the edited text, FAT32 volumes through fat32Name().
    // Blocks the calling thread (the main thread) while the tool runs. A blank text runs
    // nothing. When the command ran, the record takes the new name; answers whether it ran.
    static bool renameVolume(VolumeObj& volume, const QString& editedText);

    // Formats the volume with the name and type the confirmation handed over; blocks while the
    // tool runs, so call it on a worker. The APFS branch renames and then launches "reformat"
    // without waiting for it. Answers whether the (first) command ran.
    static bool formatVolume(const VolumeObj& volume, const QString& name, const QString& type);

    // Ejects the volume by its diskUUID; a volume without one is left alone. Answers whether the
    // command ran.
    static bool ejectVolume(const VolumeObj& volume);

    // "diskutil info -plist %s" through aepairExecCommand, read back; nothing when the tool
    // gives no dictionary.
    static std::optional<QVariantMap> getDisjInfo(const char* name);
    // "diskutil list -plist" the same way.
    static std::optional<QVariantMap> getAllDiskAndVolumes();
};
