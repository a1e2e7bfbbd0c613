#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class QProcess;

// How long a tool may run. A tool still running at its limit is asked to stop with SIGTERM and,
// if it is still there after the grace period, killed with SIGKILL. Tests shorten them.
struct ToolTimeLimits {
    int normalMs = 120'000; // answers and quick changes: info, list, rename, eject, killall
    int longMs = 600'000;   // erasing and restoring
    int graceMs = 5'000;    // between SIGTERM and SIGKILL
};
ToolTimeLimits toolTimeLimits();
void setToolTimeLimits(const ToolTimeLimits& limits);

// What became of one tool run.
struct ToolRun {
    bool started = false;  // the program could be started
    bool timedOut = false; // it reached its limit and was stopped
    int exitCode = -1;     // its exit status; -1 when it did not start, crashed or was stopped
    bool succeeded() const { return started && !timedOut && exitCode == 0; }
};

// Hands one command line to /bin/sh and waits for it up to limitMs (0: the normal limit), as
// system(3) does but bounded. The line runs in the tool environment of the Machine, in a process
// group of its own so that a stop reaches the tool under the shell too; standard output and
// error stay with this process (redirections in the line apply as usual), standard input is
// empty. Blocks the calling thread: never call it on the main thread.
ToolRun runShellLine(const QByteArray& line, int limitMs = 0);

// Runs one program (a host path) with its arguments the same way.
ToolRun runTool(const QString& hostProgram, const QStringList& arguments, int limitMs = 0);

// Prepares a process to lead a process group of its own; call before start().
void startInOwnProcessGroup(QProcess& process);

// Stops a running process: SIGTERM to it (to its whole group when it leads one), then SIGKILL
// when it has not ended after graceMs. Returns when it has ended.
void stopGracefully(QProcess& process, int graceMs);
