#include "platform/Shell.h"

#include "platform/Machine.h"
#include "platform/ToolProcesses.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QThread>

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace {

std::atomic<int> normalLimitMs{ToolTimeLimits().normalMs};
std::atomic<int> longLimitMs{ToolTimeLimits().longMs};
std::atomic<int> graceLimitMs{ToolTimeLimits().graceMs};

ToolRun runBounded(QProcess& process, int limitMs) {
    ToolRun run;
    process.setProcessEnvironment(Machine::toolEnvironment());
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    startInOwnProcessGroup(process);
    process.start();
    if (!process.waitForStarted(-1))
        return run;
    run.started = true;
    const ToolProcesses::Remembered remembered(process.processId());
    const int limit = limitMs > 0 ? limitMs : toolTimeLimits().normalMs;
    if (!process.waitForFinished(limit) && process.state() != QProcess::NotRunning) {
        run.timedOut = true;
        stopGracefully(process, toolTimeLimits().graceMs);
        return run;
    }
    if (process.exitStatus() == QProcess::NormalExit)
        run.exitCode = process.exitCode();
    return run;
}

} // namespace

ToolTimeLimits toolTimeLimits() {
    ToolTimeLimits limits;
    limits.normalMs = normalLimitMs.load();
    limits.longMs = longLimitMs.load();
    limits.graceMs = graceLimitMs.load();
    return limits;
}

void setToolTimeLimits(const ToolTimeLimits& limits) {
    normalLimitMs.store(limits.normalMs);
    longLimitMs.store(limits.longMs);
    graceLimitMs.store(limits.graceMs);
}

void startInOwnProcessGroup(QProcess& process) {
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
}

void stopGracefully(QProcess& process, int graceMs) {
    const pid_t pid = static_cast<pid_t>(process.processId());
    if (process.state() == QProcess::NotRunning || pid <= 0)
        return;
    QElapsedTimer clock;
    clock.start();
    // A process that leads a group is stopped with its group: a tool started by a shell must
    // hear the signal too, and may outlive the shell.
    const bool group = ::getpgid(pid) == pid;
    ::kill(group ? -pid : pid, SIGTERM);
    process.waitForFinished(graceMs);
    if (group) {
        while (::kill(-pid, 0) == 0 && clock.elapsed() < graceMs)
            QThread::msleep(20);
        ::kill(-pid, SIGKILL);
    } else if (process.state() != QProcess::NotRunning) {
        ::kill(pid, SIGKILL);
    }
    process.waitForFinished(-1);
}

ToolRun runShellLine(const QByteArray& line, int limitMs) {
    QProcess shell;
    shell.setProgram(QStringLiteral("/bin/sh"));
    shell.setArguments({QStringLiteral("-c"), QString::fromUtf8(line)});
    return runBounded(shell, limitMs);
}

ToolRun runTool(const QString& hostProgram, const QStringList& arguments, int limitMs) {
    QProcess tool;
    tool.setProgram(hostProgram);
    tool.setArguments(arguments);
    return runBounded(tool, limitMs);
}
