#include "core/CommandRunner.h"

#include "core/CommandLine.h"
#include "platform/Machine.h"
#include "platform/Shell.h"

#include <QFile>

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

QString runRunner(const QByteArray& line, const char* fileName) {
    if (line.isNull())
        return QString();
    const QString output = runnerOutputPath(QString::fromLatin1(fileName));
    if (!runInto(line, output, 2048))
        return QString();
    return output;
}

} // namespace

QString runnerOutputPath(const QString& fileName) {
    return Machine::hostPath(Machine::temporaryDirectory() + QLatin1Char('/') + fileName);
}

QString execCommand(const QByteArray& line) {
    return runRunner(line, "KelvaroTemp.plist");
}
QString QvExecCommand(const QByteArray& line) {
    return runRunner(line, "QvTemp.plist");
}
QString GetExecCommand(const QByteArray& line) {
    return runRunner(line, "Fennick.plist");
}
QString eraserDiskCommand(const QByteArray& line) {
    return runRunner(line, "eraserDiskTemp.plist");
}
QString eraserExecCommand(const QByteArray& line) {
    return runRunner(line, "eraserVolumeTemp.plist");
}
QString aepairExecCommand(const QByteArray& line) {
    return runRunner(line, "BrindleRepairTemp.plist");
}
QString changeNameExecCommand(const QByteArray& line) {
    return runRunner(line, "BrindleChangeNameTemp.plist");
}
QString ejectExecCommand(const QByteArray& line) {
    return runRunner(line, "ejectExecCommandTemp.plist");
}

void DoCommand(const QByteArray& line, const QString& outputMacPath) {
    if (line.isNull() || outputMacPath.isNull())
        return;
    runInto(line, Machine::hostPath(outputMacPath), 4096);
}
