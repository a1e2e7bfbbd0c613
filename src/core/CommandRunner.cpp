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

// Runs "LINE > OUTPUT" through the shell; false when the whole line does not fit the buffer.
bool runInto(const QByteArray& line, const QString& outputHostPath, std::size_t bufferSize) {
    QFile::remove(outputHostPath);
    const QByteArray shellLine = line + " > " + QvShellBareArgument(outputHostPath.toUtf8());
    if (!QvFitsBuffer(bufferSize, shellLine))
        return false;
    runShellLine(shellLine);
    return true;
}

// A runner's fixed output file and the lock its runs, and the reads of their answers, take.
struct RunnerFile {
    const char* fileName;
    QMutex lock;
};

RunnerFile& runnerFile(Runner runner) {
    static RunnerFile files[] = {
        {"KelvaroTemp.plist", {}},
        {"QvTemp.plist", {}},
        {"Fennick.plist", {}},
        {"eraserDiskTemp.plist", {}},
        {"eraserVolumeTemp.plist", {}},
        {"BrindleRepairTemp.plist", {}},
        {"BrindleChangeNameTemp.plist", {}},
        {"ejectExecCommandTemp.plist", {}},
    };
    return files[static_cast<int>(runner)];
}

// The run itself; the caller holds the runner's lock.
QString runLocked(const RunnerFile& file, const QByteArray& line) {
    const QString output = runnerOutputPath(QString::fromLatin1(file.fileName));
    if (!runInto(line, output, 2048))
        return QString();
    return output;
}

QString runRunner(Runner runner, const QByteArray& line) {
    if (line.isNull())
        return QString();
    RunnerFile& file = runnerFile(runner);
    QMutexLocker locker(&file.lock);
    return runLocked(file, line);
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

std::optional<QVariantMap> runForDictionary(Runner runner, const QByteArray& line,
                                            const QByteArray& failure) {
    RunnerFile& file = runnerFile(runner);
    QMutexLocker locker(&file.lock);
    const QString path = line.isNull() ? QString() : runLocked(file, line);
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
    runInto(line, Machine::hostPath(outputMacPath), 4096);
}
