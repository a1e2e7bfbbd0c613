#include "platform/TerminalProcess.h"

#include "platform/OutputTerminal.h"
#include "platform/ToolProcesses.h"

#include <QProcess>
#include <QSocketNotifier>

#include <cerrno>
#include <unistd.h>

TerminalProcess::TerminalProcess(QObject* parent) : QObject(parent), m_process(new QProcess(this)) {
    connect(m_process, &QProcess::finished, this, &TerminalProcess::onFinished);
}

TerminalProcess::~TerminalProcess() {
    if (m_process->state() != QProcess::NotRunning) {
        m_process->disconnect(this);
        m_process->kill();
        m_process->waitForFinished(5000);
    }
    ToolProcesses::forget(m_pid);
    closeMaster();
}

bool TerminalProcess::start(const QString& hostProgram, const QStringList& arguments,
                            const QProcessEnvironment& environment) {
    const OutputTerminal terminal = openOutputTerminal();
    const int master = terminal.master;
    const int slave = terminal.slave;
    m_process->setProgram(hostProgram);
    m_process->setArguments(arguments);
    m_process->setProcessEnvironment(environment);
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (slave >= 0) {
        // QProcess points the child's standard output at the null device; once it has set up
        // the channels, the terminal takes its place.
        m_process->setStandardOutputFile(QProcess::nullDevice());
        m_process->setChildProcessModifier([fd = slave] { ::dup2(fd, STDOUT_FILENO); });
    } else {
        connect(m_process, &QProcess::readyReadStandardOutput, this,
                [this] { Q_EMIT outputReady(m_process->readAllStandardOutput()); });
    }
    m_process->start();
    const bool started = m_process->waitForStarted(-1);
    if (slave >= 0)
        ::close(slave);
    if (!started) {
        if (master >= 0)
            ::close(master);
        return false;
    }
    m_pid = m_process->processId();
    ToolProcesses::remember(m_pid);
    if (master >= 0) {
        m_master = master;
        m_notifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
        connect(m_notifier, &QSocketNotifier::activated, this, &TerminalProcess::readAvailable);
    }
    return true;
}

bool TerminalProcess::isRunning() const {
    return m_process->state() != QProcess::NotRunning;
}

qint64 TerminalProcess::write(const QByteArray& data) {
    return m_process->write(data);
}

void TerminalProcess::closeWriteChannel() {
    m_process->closeWriteChannel();
}

void TerminalProcess::terminate() {
    m_process->terminate();
}

void TerminalProcess::kill() {
    m_process->kill();
}

void TerminalProcess::readAvailable() {
    char buffer[65536];
    while (m_master >= 0) {
        const ssize_t n = ::read(m_master, buffer, sizeof buffer);
        if (n > 0) {
            Q_EMIT outputReady(QByteArray(buffer, n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        // EAGAIN: nothing more for now. EIO (or 0 on some systems): the tool's side is closed.
        if (n == 0 || errno != EAGAIN)
            closeMaster();
        return;
    }
}

void TerminalProcess::closeMaster() {
    if (m_notifier) {
        m_notifier->setEnabled(false);
        m_notifier->deleteLater();
        m_notifier = nullptr;
    }
    if (m_master >= 0) {
        ::close(m_master);
        m_master = -1;
    }
}

void TerminalProcess::onFinished() {
    ToolProcesses::forget(m_pid);
    // Whatever the tool wrote before it ended is still waiting on the terminal (or the pipe).
    if (m_master >= 0) {
        readAvailable();
        closeMaster();
    } else {
        const QByteArray rest = m_process->readAllStandardOutput();
        if (!rest.isEmpty())
            Q_EMIT outputReady(rest);
    }
    Q_EMIT finished(m_process->exitCode(), m_process->exitStatus() == QProcess::NormalExit);
}
