#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

// One command that may run as root: a tool of a fixed set with arguments that passed strict
// checks. Nothing a person typed reaches it: device names look like "disk4" or "/dev/disk4s2",
// volumes are mount points under "/Volumes/", file systems come from a fixed set and volume names
// hold only letters, digits, spaces, dots, dashes and underscores.
class PrivilegedCommand {
public:
    // "/usr/sbin/asr restore --source SOURCE --target TARGET --erase --noprompt": SOURCE "/" or a
    // mount point, TARGET a mount point. The erase question is not asked: the person has
    // confirmed the erase before the rights were asked for.
    static std::optional<PrivilegedCommand> restore(const QString& source, const QString& target);
    // "/usr/sbin/diskutil VERB ...": "eraseDisk FILESYSTEM NAME DISK", "unmountDisk DISK",
    // "mountDisk DISK".
    static std::optional<PrivilegedCommand> diskutil(const QStringList& arguments);

    QString program() const { return m_program; } // a Mac path
    QStringList arguments() const { return m_arguments; }

private:
    PrivilegedCommand(const QString& program, const QStringList& arguments)
        : m_program(program), m_arguments(arguments) {}
    QString m_program;
    QStringList m_arguments;
};

class PrivilegedJob;

// Runs commands as root after one question to the person at the Mac.
//
// authorize() asks once, with the system's administrator dialog ("do shell script ... with
// administrator privileges" through /usr/bin/osascript), for the whole set of commands given to
// the constructor. What runs as root is a small shell loop written out entirely beforehand: it
// holds the fixed program paths and the checked arguments of those commands, and nothing else.
// Tavrill talks to it only through empty files in a private folder: "go.N" starts command N,
// "stop.N" ends it (SIGTERM, SIGKILL five seconds later), "end" ends the loop. The loop also
// ends, stopping what it runs, as soon as Tavrill's process is gone (quit or crash). A command's
// output goes to a terminal Tavrill holds open, so that the tool writes as it goes rather than
// in blocks, and Tavrill reads it while it runs; its exit status comes back as "status.N".
//
// authorize() and run() block and belong on a worker thread; start() on the thread whose event
// loop is to report the job (the main thread). Every other call is safe from any thread.
class PrivilegedRunner {
public:
    enum class Answer {
        Approved,
        Denied,    // the name or password was refused, or the account is no administrator
        Cancelled, // the person closed the dialog
        GaveUp,    // giveUp() said so before the dialog was answered
        Failed     // the dialog could not be shown
    };

    // `watched`: the process whose end ends the session; 0 for this one.
    explicit PrivilegedRunner(const QList<PrivilegedCommand>& commands, qint64 watched = 0);
    // Ends the session (see end()).
    ~PrivilegedRunner();
    PrivilegedRunner(const PrivilegedRunner&) = delete;
    PrivilegedRunner& operator=(const PrivilegedRunner&) = delete;

    // Asks for the rights, `prompt` being the dialog's explanation, and waits for the answer.
    // `giveUp` is asked every tenth of a second.
    Answer authorize(const QString& prompt, const std::function<bool()>& giveUp = {});
    bool isAuthorized() const;
    // What the dialog's tool said when the rights were not given.
    QString refusal() const;

    // Runs command `index` as root and waits for its end; its output goes to `output`. Answers
    // its exit status, or -1 when it could not run or ended by a signal. A true `giveUp` stops it.
    int run(int index, QByteArray* output, const std::function<bool()>& giveUp = {});
    // Starts command `index` as root; null when the session is not authorized or the command
    // ran before. The job belongs to the caller.
    PrivilegedJob* start(int index);

    // The root side stops what it runs and leaves; the session can run nothing more.
    void end();

    // The AppleScript that asks for the rights (what authorize() hands to osascript).
    QString script() const;

private:
    struct Session;
    std::shared_ptr<Session> m_session;
};

// A command running as root, reported on the event loop of the thread that started it.
class PrivilegedJob : public QObject {
    Q_OBJECT
public:
    ~PrivilegedJob() override;
    bool isRunning() const;
    // Asks the root side to end the command: SIGTERM, then SIGKILL after five seconds.
    void stop();

Q_SIGNALS:
    // A piece of the command's output, as it came.
    void outputReady(const QByteArray& chunk);
    // The command has ended and all it printed has been reported; `normalExit` is false when a
    // signal ended it (`exitCode` is then the signal).
    void finished(int exitCode, bool normalExit);

private:
    friend class PrivilegedRunner;
    struct Channel;
    explicit PrivilegedJob(std::unique_ptr<Channel> channel);
    void poll();

    std::unique_ptr<Channel> m_channel;
    bool m_running = true;
};
