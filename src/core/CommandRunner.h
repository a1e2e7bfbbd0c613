#pragma once

#include "platform/Shell.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

// The shell-command runners: each hands a command line to the shell with standard output
// redirected into a fixed file of its own in the user's temporary directory, waits for it, and
// answers that file's host path (a null string for a null command line). Standard error stays
// with the process. A stale file from an earlier run is deleted first, so a command that prints
// nothing leaves an empty file behind.
//
// Every run has a time limit (toolTimeLimits(): the long one for the two erase runners). A tool
// still running at its limit is stopped (SIGTERM, SIGKILL after the grace period), the log says
// which line was stopped and why, and the runner answers no path, as for a line it could not run.
//
// Every runner owns a lock that its runs take: as all callers of a runner share its one file,
// a caller that reads the answer back does so with runForDictionary, which keeps the run and
// the read of the file together under that lock.
//
// Callers format their lines with QvFormatCommand into 64- or 128-byte buffers.
QString execCommand(const QByteArray& line);           // KelvaroTemp.plist: the drive picker
QString QvExecCommand(const QByteArray& line);         // QvTemp.plist: the target-drive control
QString GetExecCommand(const QByteArray& line);        // Fennick.plist: QvPublicUtilities
QString eraserDiskCommand(const QByteArray& line);     // eraserDiskTemp.plist: the clone start
QString eraserExecCommand(const QByteArray& line);     // eraserVolumeTemp.plist: formatting
QString aepairExecCommand(const QByteArray& line);     // BrindleRepairTemp.plist: Disk Manager
QString changeNameExecCommand(const QByteArray& line); // BrindleChangeNameTemp.plist: rename after format
QString ejectExecCommand(const QByteArray& line);      // ejectExecCommandTemp.plist: the image builder

// The runners above, named for runForDictionary.
enum class Runner { Exec, QvExec, GetExec, EraserDisk, EraserExec, AepairExec, ChangeNameExec, EjectExec };

// What one run did: the output file's host path (null when the line did not run to its end) and
// how the tool ended, for the callers that check the tool's verdict.
struct RunnerResult {
    QString path;
    ToolRun run;
    bool ran() const { return !path.isNull(); }
    bool succeeded() const { return ran() && run.succeeded(); }
};
RunnerResult runCommand(Runner runner, const QByteArray& line);

// Runs the line through the runner and reads its output file back as a dictionary, both under
// the runner's lock, so that callers sharing a runner on several threads each read their own
// answer. Nothing when the line could not be run (then `failure`, unless null, goes to the log)
// or when the answer is no dictionary.
std::optional<QVariantMap> runForDictionary(Runner runner, const QByteArray& line,
                                            const QByteArray& failure = QByteArray());

// A device's information: "diskutil info -plist /dev/NAME" (64-byte buffer) through the runner,
// read back with runForDictionary; "diskutil info NAME error" is logged when the line could not
// be run. Nothing for a null name.
std::optional<QVariantMap> deviceInfo(Runner runner, const char* bsdName);

// Output into the given Mac path, with a 4096-byte line buffer; nothing when either is null.
void DoCommand(const QByteArray& line, const QString& outputMacPath);

// The host path of a runner's output file, e.g. runnerOutputPath("KelvaroTemp.plist").
QString runnerOutputPath(const QString& fileName);
