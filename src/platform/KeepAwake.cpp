#include "platform/KeepAwake.h"

#include "platform/Machine.h"
#include "platform/Shell.h"
#include "platform/ToolProcesses.h"

#include <QCoreApplication>
#include <QProcess>

KeepAwake::KeepAwake(QObject* parent) : QObject(parent), m_process(new QProcess(this)) {
    m_process->setProgram(Machine::hostPath(QString::fromLatin1(kTool)));
    m_process->setProcessChannelMode(QProcess::ForwardedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
}

KeepAwake::~KeepAwake() {
    end();
}

bool KeepAwake::isActive() const {
    return m_process->state() != QProcess::NotRunning;
}

void KeepAwake::begin() {
    if (isActive())
        return;
    // -i: no idle sleep; -w: only as long as our process lives.
    m_process->setArguments(
        {QStringLiteral("-i"), QStringLiteral("-w"), QString::number(QCoreApplication::applicationPid())});
    m_process->setProcessEnvironment(Machine::toolEnvironment());
    m_process->start();
    if (m_process->waitForStarted(-1))
        ToolProcesses::remember(m_process->processId());
}

void KeepAwake::end() {
    if (!isActive())
        return;
    const qint64 pid = m_process->processId();
    stopGracefully(*m_process, toolTimeLimits().graceMs);
    ToolProcesses::forget(pid);
}
