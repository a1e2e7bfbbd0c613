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

// The progress and end popups. The end popup says that the work ended, not how: the refreshed
// list shows the outcome.
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
inline QString okButton() {
    return QStringLiteral("OK");
}

} // namespace DiskManagerTexts
