#include "platform/Shell.h"

#include "platform/Machine.h"

#include <QProcess>

int runShellLine(const QByteArray& line) {
    QProcess shell;
    shell.setProcessEnvironment(Machine::toolEnvironment());
    shell.setProcessChannelMode(QProcess::ForwardedChannels);
    shell.setInputChannelMode(QProcess::ForwardedInputChannel);
    shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QString::fromUtf8(line)});
    if (!shell.waitForStarted(-1))
        return -1;
    shell.waitForFinished(-1);
    return shell.exitStatus() == QProcess::NormalExit ? shell.exitCode() : -1;
}
