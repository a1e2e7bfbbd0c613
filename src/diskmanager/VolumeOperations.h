#pragma once

#include "volumes/VolumeObj.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

// The Disk Manager's work on one volume through the disk tool: rename, format (erase, or
// rename-and-reformat for APFS) and eject, plus the disk-info lookup its listing uses. No
// widgets and no state: each operation checks the name it was given, formats its command line,
// runs it through its runner (blocking: call them on a worker) and answers how the tool ended.
//
// Rename, eject and the info lookup share aepairExecCommand's one output file; the runner keeps
// a run and the read of its file together, so a listing on a worker and an eject never read
// each other's answers.
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

    // A typed name checked before anything runs: the name the tool would get and, when it
    // cannot be used, why (in words for the user).
    struct NameCheck {
        QString name;    // null: nothing is to run (a blank rename)
        QString problem; // null: the name can be used
        bool usable() const { return !name.isNull() && problem.isNull(); }
    };
    // Why a name cannot be used on a file system given by its type text ("MS-DOS FAT32",
    // "ExFAT", "Journaled HFS+", "APFS", ...), or a null string. FAT and exFAT take 11
    // characters without their refused characters (FAT no lower-case letters either); HFS+ and
    // APFS 255 bytes without ":". Other file systems are not checked here.
    static QString nameProblem(const QString& name, const QString& fileSystem);
    // The rename's name for the volume (FAT32 through fat32Name()), checked against the
    // volume's file system and the command line's buffer.
    static NameCheck checkRenameName(const VolumeObj& volume, const QString& editedText);
    // The name the format will hand the tool for this volume and chosen type, checked the same
    // way (an NTFS volume always becomes FAT32 "NEW": nothing to check).
    static NameCheck checkFormatName(const VolumeObj& volume, const QString& name, const QString& type);

    // What the user is told while typing a name: the name the volume will really get and why it
    // differs from the typed text ("Will be named MYVERYLONGS: FAT32 names are at most 11
    // characters, in capitals"), or why it cannot be used; empty for a blank rename.
    struct NameHint {
        QString text;
        bool refused = false; // the text says why nothing would run
    };
    static NameHint nameHint(const QString& typed, const NameCheck& check);
    static NameHint renameHint(const VolumeObj& volume, const QString& editedText);
    static NameHint formatHint(const VolumeObj& volume, const QString& name, const QString& type);

    // How an operation ended.
    struct Outcome {
        bool ran = false;       // a command was run
        bool succeeded = false; // every command ran to its end, exit status 0, and said so
        QString message;        // for the user when it did not succeed
        // The process that kept a volume from being unmounted, from the tool's dissent
        // ("dissented by PID 2387 (/bin/zsh)"); pid 0 when none was named.
        int dissenterPid = 0;
        QString dissenterPath;
    };
    // The dissenter named in a disk tool's output, if any.
    static bool readDissenter(const QByteArray& output, int* pid, QString* path);

    // Renames the volume (by diskUUID) to the checked name. A blank text runs nothing; a name
    // that cannot be used runs nothing and says why. When the tool succeeded the record takes
    // the new name.
    static Outcome renameVolume(VolumeObj& volume, const QString& editedText);

    // Formats the volume with the name and type the confirmation handed over. The APFS branch
    // renames and, only when the rename succeeded, reformats, waiting for it.
    static Outcome formatVolume(const VolumeObj& volume, const QString& name, const QString& type);

    // Ejects the volume by its diskUUID; a volume without one is left alone (nothing runs).
    static Outcome ejectVolume(const VolumeObj& volume);
    // Unmounts the volume by force ("diskutil unmount force"), whoever holds it, then ejects it as
    // above; nothing is ejected when the unmount failed.
    static Outcome forceEjectVolume(const VolumeObj& volume);

    // "diskutil info -plist %s" through aepairExecCommand, read back; nothing when the tool
    // gives no dictionary.
    static std::optional<QVariantMap> getDisjInfo(const char* name);
    // "diskutil list -plist" the same way.
    static std::optional<QVariantMap> getAllDiskAndVolumes();
};
