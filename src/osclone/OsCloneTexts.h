#pragma once

#include <QString>

// The OS Clone tab's own words, in one place.
namespace OsCloneTexts {

inline QString tabTitle() {
    return QStringLiteral("OS Clone");
}
inline QString systemDrive() {
    return QStringLiteral("System Drive");
}
inline QString destinationHint() {
    return QStringLiteral("Click here to select a destination drive.");
}
// The destination slot's size line, filled with the drive's total size.
inline QString freeSize(const QString& size) {
    return QStringLiteral("%1 free").arg(size);
}
inline QString cloneNow() {
    return QStringLiteral("Clone Now");
}
inline QString cancel() {
    return QStringLiteral("Cancel");
}
inline QString continueButton() {
    return QStringLiteral("Continue");
}
inline QString done() {
    return QStringLiteral("Done");
}

inline QString insufficientSpace() {
    return QStringLiteral("Insufficient disk space on this destination drive, please select another drive.");
}
inline QString createFailed() {
    return QStringLiteral("An error occurred when creating the target disk.");
}
inline QString bootableFailed() {
    return QStringLiteral("Failed to create bootable disk, please try again.");
}
inline QString unplugged() {
    return QStringLiteral("USB device unplugged, Please reconnect the device and try again.");
}
inline QString eraseFailed() {
    return QStringLiteral(
        "An error occurred when erasing data. Please make sure that the device is not being "
        "used or you have enough permissions.");
}
inline QString unsupportedSystem() {
    return QStringLiteral("System version does not support this function.");
}
inline QString targetChanged() {
    return QStringLiteral(
        "The destination drive is no longer the drive you confirmed, so nothing was erased. "
        "Please select the destination drive again.");
}
// The administrator dialog's explanation, and what the tab says when the rights were not given
// or the restore tool ran without them.
inline QString rightsPrompt() {
    return QStringLiteral(
        "Tavrill needs an administrator\u2019s name and password to erase the destination drive "
        "and clone the system onto it.");
}
inline QString notAuthorized() {
    return QStringLiteral("Cloning the system needs the name and password of an administrator of this Mac. "
                          "They were not accepted, so nothing was erased.");
}
inline QString authorizationCancelled() {
    return QStringLiteral("The administrator password was not given, so the clone did not start and nothing "
                          "was erased.");
}
inline QString needsRoot() {
    return QStringLiteral(
        "The restore tool refused to run without administrator rights, so the system was not "
        "cloned.");
}
// Said in the tab before a clone starts: what a clone will ask for, or what this Mac lacks for it.
inline QString needsAdministrator() {
    return QStringLiteral(
        "A clone asks for an administrator\u2019s name and password before it erases anything.");
}
inline QString needsFullDiskAccess() {
    return QStringLiteral(
        "This macOS lets Tavrill clone the running system only with Full Disk Access: turn it "
        "on in System Settings \u203a Privacy & Security \u203a Full Disk Access, then open "
        "Tavrill again.");
}
inline QString stopped() {
    return QStringLiteral("You have stopped the clone process.");
}
inline QString stopping() {
    return QStringLiteral("Stopping the clone: waiting for the disk tools to end\u2026");
}
inline QString stoppingButton() {
    return QStringLiteral("Stopping\u2026");
}
inline QString succeeded() {
    return QStringLiteral(
        "The system has been cloned. You can now start up a Mac from the destination drive.");
}
inline QString failedTitle() {
    return QStringLiteral("The clone did not finish");
}
inline QString succeededTitle() {
    return QStringLiteral("Clone complete");
}

// The start confirmation, naming the drive by its model name and size.
inline QString confirmTitle() {
    return QStringLiteral("Clone the system to this drive?");
}
inline QString confirmBody(const QString& model, const QString& size) {
    return QStringLiteral("Everything on \u201c%1\u201d (%2) will be erased, then the running system is "
                          "cloned onto it. This can take a long time.")
        .arg(model, size);
}
// The cancel confirmation; its "Cancel" stops the clone.
inline QString stopTitle() {
    return QStringLiteral("Stop cloning?");
}
inline QString stopBody() {
    return QStringLiteral("The destination drive will not be able to start up a Mac if you stop now. Choose "
                          "Cancel to stop, or Continue to go on cloning.");
}

// The failure text for an error code of the clone engine; empty for the codes that show nothing
// (the cancel, -8).
inline QString errorText(int errorCode) {
    switch (errorCode) {
    case -12:
        return needsRoot();
    case -11:
        return authorizationCancelled();
    case -10:
        return notAuthorized();
    case -9:
        return targetChanged();
    case -7:
    case -6:
    case -2:
    case -1:
        return bootableFailed();
    case -5:
        return unsupportedSystem();
    case -4:
        return eraseFailed();
    case -3:
        return unplugged();
    default:
        return QString();
    }
}

} // namespace OsCloneTexts
