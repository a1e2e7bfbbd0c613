#pragma once

#include <QString>

// The Disk Image tab's own words, in one place.
namespace DiskImageTexts {

inline QString title() {
    return QStringLiteral("Create Disk Image");
}
inline QString createNow() {
    return QStringLiteral("Create Now");
}
inline QString copyAllFiles() {
    return QStringLiteral("Copy All Files");
}
inline QString copySomeFiles() {
    return QStringLiteral("Copy Some Files");
}
inline QString makeDmg() {
    return QStringLiteral("Disk image (.dmg)");
}
inline QString makeZip() {
    return QStringLiteral("Zip archive (.zip)");
}
inline QString cancel() {
    return QStringLiteral("Cancel");
}
inline QString done() {
    return QStringLiteral("Done");
}
inline QString createImage() {
    return QStringLiteral("Create Image");
}
inline QString confirmDmg(const QString& destination) {
    return QStringLiteral("The selection will be packed into a disk image (.dmg) on \u201c%1\u201d.")
        .arg(destination);
}
inline QString confirmZip(const QString& destination) {
    return QStringLiteral("The selection will be packed into a zip archive (.zip) on \u201c%1\u201d.")
        .arg(destination);
}

// Slot texts.
inline QString selectedText(const QString& size) {
    return QStringLiteral("%1 selected").arg(size);
}
inline QString filesFolders(int count) {
    return QStringLiteral("%1 files/folders").arg(count);
}
inline QString dragSomeFiles() {
    return QStringLiteral("Drag some files");
}
inline QString filesSelected(int count) {
    return QStringLiteral("%1 files selected").arg(count);
}

// Messages.
inline QString insufficientSpace() {
    return QStringLiteral("Insufficient disk space on this destination drive, please select another drive.");
}
inline QString nothingSelected() {
    return QStringLiteral("No file has been selected\u2026");
}
inline QString operationFailed() {
    return QStringLiteral("Operation failed.");
}
inline QString stopped() {
    return QStringLiteral("You have stopped the process.");
}
inline QString stopping() {
    return QStringLiteral("Stopping: removing the unfinished image\u2026");
}
inline QString stoppingButton() {
    return QStringLiteral("Stopping\u2026");
}
inline QString enumerating() {
    return QStringLiteral("enumerating files...");
}
inline QString volumeInUse() {
    return QStringLiteral(
        "A volume named \u201cTavrillDmg\u201d is already mounted. Eject it, then try again.");
}
inline QString itemsMissing(int count) {
    return count == 1 ? QStringLiteral("Operation failed. 1 item could not be copied.")
                      : QStringLiteral("Operation failed. %1 items could not be copied.").arg(count);
}

// The end views.
inline QString openPhrase() {
    return QStringLiteral("the disk image on the destination drive.");
}
inline QString finished() {
    return QStringLiteral("Finished! Click to open ") + openPhrase();
}

} // namespace DiskImageTexts
