#pragma once

#include <QByteArray>
#include <QObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

class QProcess;
class QSocketNotifier;

// Runs one tool with its standard output on a pseudo-terminal and its standard input on a pipe;
// standard error stays with this process.
//
// Tools that print progress with stdio buffer their output in large blocks when it goes to a
// pipe, so a reader would see nothing for minutes and then everything at once, and a question
// the tool asks could stay in its buffer while the tool waits for the answer. On a terminal the
// same tools write as they go. The terminal only carries output: it does not echo, does not turn
// "\n" into "\r\n" and is not the tool's controlling terminal. Input goes through an ordinary
// pipe, so an answer without a line end reaches the tool when the pipe is closed.
//
// Lives on the thread whose event loop reports its output (the main thread). Where no terminal
// can be opened the output falls back to a pipe.
class TerminalProcess : public QObject {
    Q_OBJECT
public:
    explicit TerminalProcess(QObject* parent = nullptr);
    // A tool still running is killed and waited for.
    ~TerminalProcess() override;

    // Starts a program (a host path) with the given arguments and environment. False when it
    // could not be started; nothing is reported then.
    bool start(const QString& hostProgram, const QStringList& arguments,
               const QProcessEnvironment& environment);
    bool isRunning() const;
    bool usesTerminal() const { return m_master >= 0; }

    qint64 write(const QByteArray& data);
    void closeWriteChannel();
    void terminate(); // SIGTERM
    void kill();      // SIGKILL

Q_SIGNALS:
    // One read of the tool's output, as it came.
    void outputReady(const QByteArray& chunk);
    // The tool has ended and all it printed has been reported. `normalExit` is false when a
    // signal ended it.
    void finished(int exitCode, bool normalExit);

private:
    void readAvailable();
    void closeMaster();
    void onFinished();

    QProcess* m_process;
    int m_master = -1;
    qint64 m_pid = 0;
    QSocketNotifier* m_notifier = nullptr;
};
