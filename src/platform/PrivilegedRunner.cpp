#include "platform/PrivilegedRunner.h"

#include "platform/Machine.h"
#include "platform/OutputTerminal.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kPollMs = 50;

bool matches(const QString& text, const char* pattern) {
    return QRegularExpression(QRegularExpression::anchoredPattern(QLatin1String(pattern)))
        .match(text)
        .hasMatch();
}

// A mount point under /Volumes: one name, no control characters, not "." or "..".
bool isVolumeMountPoint(const QString& path) {
    return matches(path, "/Volumes/[^/\\x00-\\x1f\\x7f]{1,255}") && path != QLatin1String("/Volumes/.") &&
           path != QLatin1String("/Volumes/..");
}

bool isWholeDisk(const QString& arg) {
    return matches(arg, "disk[0-9]+");
}

bool isDiskOrVolumeDevice(const QString& arg) {
    return matches(arg, "(/dev/)?disk[0-9]+(s[0-9]+)?");
}

// Volume names Tavrill gives a drive it erases.
bool isPlainVolumeName(const QString& name) {
    return matches(name, "[A-Za-z0-9][A-Za-z0-9 ._-]{0,62}");
}

const QStringList& eraseFileSystems() {
    static const QStringList fileSystems{QStringLiteral("HFS+"), QStringLiteral("JHFS+"),
                                         QStringLiteral("APFS"), QStringLiteral("ExFAT"),
                                         QStringLiteral("MS-DOS FAT32")};
    return fileSystems;
}

QString shellQuote(const QString& text) {
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

QString appleScriptString(const QString& text) {
    QString quoted = text;
    quoted.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    quoted.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

bool touch(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly);
}

void closeFd(int& fd) {
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

// Everything that can be read now from a non-blocking terminal master or a growing file.
QByteArray readAvailable(int fd) {
    QByteArray out;
    char buffer[65536];
    while (fd >= 0) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            out.append(buffer, n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break; // EAGAIN, the end of the file so far, or EIO once nobody holds the terminal
    }
    return out;
}

} // namespace

std::optional<PrivilegedCommand> PrivilegedCommand::restore(const QString& source, const QString& target) {
    if ((source != QLatin1String("/") && !isVolumeMountPoint(source)) || !isVolumeMountPoint(target) ||
        source == target)
        return std::nullopt;
    return PrivilegedCommand(QStringLiteral("/usr/sbin/asr"),
                             {QStringLiteral("restore"), QStringLiteral("--source"), source,
                              QStringLiteral("--target"), target, QStringLiteral("--erase"),
                              QStringLiteral("--noprompt")});
}

std::optional<PrivilegedCommand> PrivilegedCommand::diskutil(const QStringList& arguments) {
    const QString verb = arguments.value(0);
    bool allowed = false;
    if (verb == QLatin1String("eraseDisk"))
        allowed = arguments.size() == 4 && eraseFileSystems().contains(arguments.at(1)) &&
                  isPlainVolumeName(arguments.at(2)) && isWholeDisk(arguments.at(3));
    else if (verb == QLatin1String("unmountDisk") || verb == QLatin1String("mountDisk"))
        allowed = arguments.size() == 2 && isDiskOrVolumeDevice(arguments.at(1));
    if (!allowed)
        return std::nullopt;
    return PrivilegedCommand(QStringLiteral("/usr/sbin/diskutil"), arguments);
}

// The output of one command: a terminal Tavrill holds open, or a file when no terminal could be
// had. Holding the terminal's other end keeps it from hanging up before the tool has opened it.
struct CommandOutput {
    OutputTerminal terminal;
    QString file; // host path of the fallback file
    QString target() const { return terminal.isOpen() ? QString::fromLocal8Bit(terminal.slavePath) : file; }
};

struct PrivilegedRunner::Session {
    QList<PrivilegedCommand> commands;
    QList<CommandOutput> outputs;
    QList<bool> started;
    QString folder; // host path of the private folder
    QString prompt;
    qint64 watched = 0;
    QMutex lock;
    pid_t door = -1; // the osascript process while the root side runs
    bool authorized = false;
    bool ended = false;
    QString refusal;

    QString file(const QString& name) const { return folder + QLatin1Char('/') + name; }

    QString rootLoop() const {
        // Each command starts in the background; a watcher ends it when asked to or when
        // Tavrill is gone; its status is written once it has ended.
        QString cases;
        for (qsizetype i = 0; i < commands.size(); ++i) {
            QStringList words{shellQuote(Machine::hostPath(commands.at(i).program()))};
            for (const QString& a : commands.at(i).arguments())
                words << shellQuote(a);
            cases += QStringLiteral("%1) %2 >>%3 2>&1 </dev/null & ;; ")
                         .arg(i)
                         .arg(words.join(QLatin1Char(' ')), shellQuote(outputs.at(i).target()));
        }
        QStringList numbers;
        for (qsizetype i = 0; i < commands.size(); ++i)
            numbers << QString::number(i);
        return QStringLiteral(
                   "d=%1; p=%2; : >\"$d/ready\"; "
                   "while [ ! -e \"$d/end\" ] && kill -0 $p 2>/dev/null; do "
                   "for n in %3; do if [ -e \"$d/go.$n\" ]; then rm -f \"$d/go.$n\"; "
                   "case $n in %4esac; c=$!; "
                   "(while :; do if [ -e \"$d/stop.$n\" ] || [ -e \"$d/end\" ] || ! kill -0 $p 2>/dev/null; "
                   "then kill -TERM $c 2>/dev/null; sleep 5; kill -KILL $c 2>/dev/null; exit 0; fi; "
                   "sleep 0.2; done) & w=$!; "
                   "wait $c; r=$?; kill $w 2>/dev/null; echo $r >\"$d/status.$n.part\"; "
                   "mv -f \"$d/status.$n.part\" \"$d/status.$n\"; fi; done; sleep 0.2; done")
            .arg(shellQuote(folder))
            .arg(watched)
            .arg(numbers.join(QLatin1Char(' ')), cases);
    }

    QString appleScript() const {
        return QStringLiteral("do shell script %1 with prompt %2 with administrator privileges")
            .arg(appleScriptString(rootLoop()), appleScriptString(prompt));
    }

    // Whether the door process has ended; reaps it.
    bool doorEnded(int* status) {
        if (door <= 0)
            return true;
        const pid_t r = ::waitpid(door, status, WNOHANG);
        if (r == door || (r < 0 && errno == ECHILD)) {
            door = -1;
            return true;
        }
        return false;
    }

    void end() {
        QMutexLocker locker(&lock);
        if (ended)
            return;
        ended = true;
        authorized = false;
        if (!folder.isEmpty())
            touch(file(QStringLiteral("end")));
        // The loop looks every fifth of a second; the dialog's tool leaves with it.
        QElapsedTimer clock;
        clock.start();
        int status = 0;
        while (!doorEnded(&status) && clock.elapsed() < 1500)
            QThread::msleep(20);
        for (CommandOutput& o : outputs) {
            closeFd(o.terminal.master);
            closeFd(o.terminal.slave);
        }
        if (door < 0 && !folder.isEmpty())
            QDir(folder).removeRecursively();
    }
};

struct PrivilegedJob::Channel {
    std::shared_ptr<void> keepAlive; // the session, whose folder holds the files below
    int readFd = -1;                 // the terminal's master or the output file
    int holdFd = -1;                 // the terminal's other end
    QString statusFile;
    QString stopFile;
    bool done = false;

    ~Channel() {
        closeFd(readFd);
        closeFd(holdFd);
    }
    QByteArray read() { return readAvailable(readFd); }
    // The exit status once the root side has written it.
    std::optional<int> status() const {
        QFile f(statusFile);
        if (!f.open(QIODevice::ReadOnly))
            return std::nullopt;
        bool ok = false;
        const int value = f.readAll().trimmed().toInt(&ok);
        return ok ? std::optional<int>(value) : std::optional<int>(-1);
    }
    void stop() const { touch(stopFile); }
};

PrivilegedRunner::PrivilegedRunner(const QList<PrivilegedCommand>& commands, qint64 watched)
    : m_session(std::make_shared<Session>()) {
    m_session->commands = commands;
    m_session->watched = watched > 0 ? watched : qint64(::getpid());
    m_session->started.fill(false, commands.size());
}

PrivilegedRunner::~PrivilegedRunner() {
    end();
}

QString PrivilegedRunner::script() const {
    return m_session->appleScript();
}

PrivilegedRunner::Answer PrivilegedRunner::authorize(const QString& prompt,
                                                     const std::function<bool()>& giveUp) {
    Session& s = *m_session;
    {
        QMutexLocker locker(&s.lock);
        if (s.authorized)
            return Answer::Approved;
        if (s.ended || !s.folder.isEmpty())
            return Answer::Failed;
        QByteArray pattern = QFile::encodeName(Machine::hostPath(Machine::temporaryDirectory()) +
                                               QStringLiteral("/Tavrill-rights.XXXXXX"));
        if (!::mkdtemp(pattern.data())) {
            s.refusal = QStringLiteral("no private folder for the administrator session");
            return Answer::Failed;
        }
        s.folder = QFile::decodeName(pattern);
        s.prompt = prompt;
        for (qsizetype i = 0; i < s.commands.size(); ++i) {
            CommandOutput o;
            o.terminal = openOutputTerminal();
            // A terminal is only named in the loop when its name is what a terminal is called.
            if (o.terminal.isOpen() &&
                !matches(QString::fromLocal8Bit(o.terminal.slavePath), "/dev/(ttys[0-9]+|pts/[0-9]+)")) {
                closeFd(o.terminal.master);
                closeFd(o.terminal.slave);
            }
            if (!o.terminal.isOpen()) {
                o.file = s.file(QStringLiteral("out.%1").arg(i));
                touch(o.file);
            }
            s.outputs << o;
        }

        const QByteArray program = QFile::encodeName(Machine::hostPath(QStringLiteral("/usr/bin/osascript")));
        const QByteArray code = s.appleScript().toUtf8();
        const QByteArray errors = QFile::encodeName(s.file(QStringLiteral("door.err")));
        QList<QByteArray> environment;
        for (const QString& e : Machine::toolEnvironment().toStringList())
            environment << e.toLocal8Bit();
        std::vector<char*> envp;
        for (QByteArray& e : environment)
            envp.push_back(e.data());
        envp.push_back(nullptr);
        const char* argv[] = {"osascript", "-e", code.constData(), nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.constData(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        pid_t pid = -1;
        const int spawned = ::posix_spawn(&pid, program.constData(), &actions, nullptr,
                                          const_cast<char* const*>(argv), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        if (spawned != 0) {
            s.refusal = QStringLiteral("%1 could not be started").arg(QFile::decodeName(program));
            return Answer::Failed;
        }
        s.door = pid;
    }

    // Wait for the root side to say it runs, or for the dialog's tool to give up.
    for (;;) {
        QMutexLocker locker(&s.lock);
        if (QFile::exists(s.file(QStringLiteral("ready")))) {
            s.authorized = !s.ended;
            return s.authorized ? Answer::Approved : Answer::Failed;
        }
        int status = 0;
        if (s.doorEnded(&status)) {
            // The root side left before Tavrill saw it start (or never started).
            QFile f(s.file(QStringLiteral("door.err")));
            s.refusal = f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).trimmed() : QString();
            // "0:61: execution error: User canceled. (-128)"
            if (s.refusal.endsWith(QLatin1String("(-128)")))
                return Answer::Cancelled;
            return s.refusal.contains(QLatin1String("execution error")) ? Answer::Denied : Answer::Failed;
        }
        if (giveUp && giveUp()) {
            ::kill(s.door, SIGTERM);
            locker.unlock();
            end();
            return Answer::GaveUp;
        }
        locker.unlock();
        QThread::msleep(100);
    }
}

bool PrivilegedRunner::isAuthorized() const {
    QMutexLocker locker(&m_session->lock);
    return m_session->authorized;
}

QString PrivilegedRunner::refusal() const {
    QMutexLocker locker(&m_session->lock);
    return m_session->refusal;
}

PrivilegedJob* PrivilegedRunner::start(int index) {
    Session& s = *m_session;
    QMutexLocker locker(&s.lock);
    if (!s.authorized || index < 0 || index >= s.commands.size() || s.started.at(index))
        return nullptr;
    s.started[index] = true;
    auto channel = std::make_unique<PrivilegedJob::Channel>();
    channel->keepAlive = m_session;
    CommandOutput& o = s.outputs[index];
    if (o.terminal.isOpen()) {
        std::swap(channel->readFd, o.terminal.master);
        std::swap(channel->holdFd, o.terminal.slave);
    } else {
        channel->readFd = ::open(QFile::encodeName(o.file).constData(), O_RDONLY | O_CLOEXEC);
    }
    channel->statusFile = s.file(QStringLiteral("status.%1").arg(index));
    channel->stopFile = s.file(QStringLiteral("stop.%1").arg(index));
    if (!touch(s.file(QStringLiteral("go.%1").arg(index))))
        return nullptr;
    return new PrivilegedJob(std::move(channel));
}

int PrivilegedRunner::run(int index, QByteArray* output, const std::function<bool()>& giveUp) {
    std::unique_ptr<PrivilegedJob> job(start(index));
    if (!job)
        return -1;
    PrivilegedJob::Channel& c = *job->m_channel;
    bool stopped = false;
    for (;;) {
        const std::optional<int> status = c.status();
        const QByteArray chunk = c.read();
        if (output)
            *output += chunk;
        if (status) {
            job->m_running = false;
            return *status > 128 ? -1 : *status;
        }
        if (!stopped && giveUp && giveUp()) {
            c.stop();
            stopped = true;
        }
        QThread::msleep(kPollMs);
    }
}

void PrivilegedRunner::end() {
    m_session->end();
}

PrivilegedJob::PrivilegedJob(std::unique_ptr<Channel> channel) : m_channel(std::move(channel)) {
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &PrivilegedJob::poll);
    timer->start(kPollMs);
}

PrivilegedJob::~PrivilegedJob() = default;

bool PrivilegedJob::isRunning() const {
    return m_running;
}

void PrivilegedJob::stop() {
    if (m_running)
        m_channel->stop();
}

void PrivilegedJob::poll() {
    if (!m_running)
        return;
    // The status is looked at before the output is read, so nothing printed before the end is
    // left behind.
    const std::optional<int> status = m_channel->status();
    const QByteArray chunk = m_channel->read();
    if (!chunk.isEmpty())
        Q_EMIT outputReady(chunk);
    if (!status)
        return;
    m_running = false;
    if (auto* timer = findChild<QTimer*>())
        timer->stop();
    const int code = *status;
    Q_EMIT finished(code > 128 ? code - 128 : code, code >= 0 && code <= 128);
}
