#include "core/CommandRunner.h"

#include "core/CommandLine.h"
#include "core/PropertyList.h"
#include "core/QvLog.h"
#include "platform/Machine.h"
#include "platform/Shell.h"

#include <QFile>
#include <QMutex>
#include <QMutexLocker>

namespace {

// Runs "LINE > OUTPUT" through the shell within limitMs; not run when the whole line does not
// fit the buffer. A run stopped at its limit is logged.
ToolRun runInto(const QByteArray& line, const QString& outputHostPath, std::size_t bufferSize, int limitMs) {
    QFile::remove(outputHostPath);
    const QByteArray shellLine = line + " > " + QvShellBareArgument(outputHostPath.toUtf8());
    if (!QvFitsBuffer(bufferSize, shellLine))
        return ToolRun();
    const ToolRun run = runShellLine(shellLine, limitMs);
    if (run.timedOut)
        QvLog("stopped \"%s\": no end within %d s", line.constData(), (limitMs + 999) / 1000);
    return run;
}

// A runner's fixed output file, its time limit and the lock its runs, and the reads of their
// answers, take.
struct RunnerFile {
    const char* fileName;
    bool erases;
    QMutex lock;
};

RunnerFile& runnerFile(Runner runner) {
    static RunnerFile files[] = {
        {"KelvaroTemp.plist", false, {}},
        {"QvTemp.plist", false, {}},
        {"Fennick.plist", false, {}},
        {"eraserDiskTemp.plist", true, {}},
        {"eraserVolumeTemp.plist", true, {}},
        {"BrindleRepairTemp.plist", false, {}},
        {"BrindleChangeNameTemp.plist", false, {}},
        {"ejectExecCommandTemp.plist", false, {}},
    };
    return files[static_cast<int>(runner)];
}

// The run itself; the caller holds the runner's lock.
RunnerResult runLocked(const RunnerFile& file, const QByteArray& line) {
    RunnerResult result;
    if (line.isNull())
        return result;
    const QString output = runnerOutputPath(QString::fromLatin1(file.fileName));
    const ToolTimeLimits limits = toolTimeLimits();
    result.run = runInto(line, output, 2048, file.erases ? limits.longMs : limits.normalMs);
    if (result.run.started && !result.run.timedOut)
        result.path = output;
    return result;
}

QString runRunner(Runner runner, const QByteArray& line) {
    return runCommand(runner, line).path;
}

} // namespace

QString runnerOutputPath(const QString& fileName) {
    return Machine::hostPath(Machine::temporaryDirectory() + QLatin1Char('/') + fileName);
}

QString execCommand(const QByteArray& line) {
    return runRunner(Runner::Exec, line);
}
QString QvExecCommand(const QByteArray& line) {
    return runRunner(Runner::QvExec, line);
}
QString GetExecCommand(const QByteArray& line) {
    return runRunner(Runner::GetExec, line);
}
QString eraserDiskCommand(const QByteArray& line) {
    return runRunner(Runner::EraserDisk, line);
}
QString eraserExecCommand(const QByteArray& line) {
    return runRunner(Runner::EraserExec, line);
}
QString aepairExecCommand(const QByteArray& line) {
    return runRunner(Runner::AepairExec, line);
}
QString changeNameExecCommand(const QByteArray& line) {
    return runRunner(Runner::ChangeNameExec, line);
}
QString ejectExecCommand(const QByteArray& line) {
    return runRunner(Runner::EjectExec, line);
}

RunnerResult runCommand(Runner runner, const QByteArray& line) {
    if (line.isNull())
        return RunnerResult();
    RunnerFile& file = runnerFile(runner);
    QMutexLocker locker(&file.lock);
    return runLocked(file, line);
}

std::optional<QVariantMap> runForDictionary(Runner runner, const QByteArray& line,
                                            const QByteArray& failure) {
    RunnerFile& file = runnerFile(runner);
    QMutexLocker locker(&file.lock);
    const QString path = runLocked(file, line).path;
    if (path.isNull()) {
        if (!failure.isNull())
            QvLog("%s", failure.constData());
        return std::nullopt;
    }
    return PropertyList::readDictionary(path);
}

std::optional<QVariantMap> deviceInfo(Runner runner, const char* bsdName) {
    if (!bsdName)
        return std::nullopt;
    return runForDictionary(runner,
                            QvFormatCommand(64, "diskutil info -plist /dev/%s", {QByteArray(bsdName)}),
                            "diskutil info " + QByteArray(bsdName) + " error");
}

void DoCommand(const QByteArray& line, const QString& outputMacPath) {
    if (line.isNull() || outputMacPath.isNull())
        return;
    runInto(line, Machine::hostPath(outputMacPath), 4096, toolTimeLimits().normalMs);
}
