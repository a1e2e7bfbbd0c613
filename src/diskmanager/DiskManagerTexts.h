#pragma once

#include <QString>

// The Disk Manager's own words, in one place.
namespace DiskManagerTexts {

inline QString tabTitle() {
    return QStringLiteral("Disk Manager");
}
inline QString save() {
    return QStringLiteral("Save");
}
inline QString rename() {
    return QStringLiteral("Rename");
}
inline QString format() {
    return QStringLiteral("Format");
}
inline QString eject() {
    return QStringLiteral("Eject");
}
// Shown for a size the disk tool did not give.
inline QString unknownSize() {
    return QStringLiteral("Unknow");
}

// The confirmation.
inline QString formatTitle(const QString& volumeName) {
    return QStringLiteral("Format '%1'?").arg(volumeName);
}
inline QString formatBody(const QString& volumeName) {
    return QStringLiteral("All data on '%1' will be deleted after format, do you want to format it?")
        .arg(volumeName);
}
inline QString continueButton() {
    return QStringLiteral("Continue");
}
inline QString cancelButton() {
    return QStringLiteral("Cancel");
}
inline QString nameCaption() {
    return QStringLiteral("Name");
}
inline QString typeCaption() {
    return QStringLiteral("Format");
}

// The type menu, by row tag.
inline QString formatType(int tag) {
    switch (tag) {
    case 0:
        return QStringLiteral("ExFAT");
    case 1:
        return QStringLiteral("MS-DOS FAT32");
    case 2:
        return QStringLiteral("Journaled HFS+");
    default:
        return QString();
    }
}
inline constexpr int kFormatTypeCount = 3;

// Why a typed name cannot be used, and how a tool run went wrong.
inline QString nameTooLong(const QString& fileSystem, int characters) {
    return QStringLiteral("The name is too long: %1 volumes take at most %2 characters.")
        .arg(fileSystem)
        .arg(characters);
}
inline QString nameTooLongBytes(const QString& fileSystem) {
    return QStringLiteral("The name is too long: %1 volumes take at most 255 bytes.").arg(fileSystem);
}
inline QString nameRefusedCharacter(const QString& fileSystem, const QString& character) {
    return QStringLiteral("%1 volumes cannot have “%2” in their name.").arg(fileSystem, character);
}
inline QString nameLowerCase(const QString& fileSystem) {
    return QStringLiteral("%1 volumes take capital letters only.").arg(fileSystem);
}
inline QString nameControlCharacter() {
    return QStringLiteral("The name cannot hold control characters.");
}
inline QString nameMissing() {
    return QStringLiteral("Type a name for the volume.");
}
// What a typed name becomes, and why it differs from what was typed (empty: it does not).
inline QString willBeNamed(const QString& name, const QString& reason) {
    if (reason.isEmpty())
        return QStringLiteral("Will be named %1").arg(name);
    return QStringLiteral("Will be named %1: %2").arg(name, reason);
}
inline QString reasonFat32(bool tooLong, bool lowerCase) {
    if (tooLong && lowerCase)
        return QStringLiteral("FAT32 names are at most 11 characters, in capitals");
    if (tooLong)
        return QStringLiteral("FAT32 names are at most 11 characters");
    return QStringLiteral("FAT32 names are in capitals");
}
inline QString reasonFat32Characters() {
    return QStringLiteral("FAT32 names cannot hold these characters");
}
inline QString reasonNoName() {
    return QStringLiteral("a volume needs a name");
}
inline QString reasonNtfs() {
    return QStringLiteral("an NTFS volume is formatted as MS-DOS FAT32 named NEW");
}
inline QString nameTooLongForTool() {
    return QStringLiteral("The name is too long for the disk tool.");
}
inline QString toolNotRun() {
    return QStringLiteral("The disk tool could not be run.");
}
inline QString toolStopped() {
    return QStringLiteral("The disk tool did not finish in time and was stopped.");
}
inline QString toolFailed(int status) {
    return QStringLiteral("The disk tool ended with status %1.").arg(status);
}
inline QString eraseNotFinished() {
    return QStringLiteral("The disk tool did not report the erase as finished.");
}

// An eject that a program keeps from happening, and the forced one.
inline QString ejectRefusedTitle(const QString& volumeName) {
    return QStringLiteral("“%1” could not be ejected").arg(volumeName);
}
inline QString volumeInUse(const QString& volumeName, const QString& program, int pid) {
    return QStringLiteral("%1 is in use by %2 (process %3). Quit it and try again.")
        .arg(volumeName, program)
        .arg(pid);
}
inline QString forceEject() {
    return QStringLiteral("Force Eject");
}
inline QString forceEjectTitle(const QString& volumeName) {
    return QStringLiteral("Force eject “%1”?").arg(volumeName);
}
inline QString forceEjectBody(const QString& volumeName, const QString& program, int pid) {
    return QStringLiteral("%1 (process %2) still has files open on %3. If you eject it now, open files in "
                          "%1 may lose unsaved data.")
        .arg(program)
        .arg(pid)
        .arg(volumeName);
}

// The progress and end popups. The end popup says whether the disk tool succeeded; the
// refreshed list shows the volume as it is now.
inline QString formattingTitle() {
    return QStringLiteral("Formatting…");
}
inline QString formattingBody() {
    return QStringLiteral("Please keep the volume connected until this finishes.");
}
inline QString formatEndTitle() {
    return QStringLiteral("Format finished");
}
inline QString formatEndBody() {
    return QStringLiteral("The volume list has been read again and shows the volume as it is now.");
}
inline QString formatFailedTitle() {
    return QStringLiteral("Format failed");
}
inline QString okButton() {
    return QStringLiteral("OK");
}

} // namespace DiskManagerTexts
