#pragma once

#include <QByteArray>
#include <QMutex>
#include <QString>
#include <QStringList>

#include <atomic>

class QTimer;

// The shared task object for long, destructive tool runs (erase, partition, resize) whose
// output is not parsed: launch one executable with arguments, wait for it with a time limit of
// at least a minute, stop it when the limit passes or a stop is asked for: SIGTERM first, SIGKILL
// only when it is still there after the grace period of toolTimeLimits(). The log says which
// tool was stopped and why. Callers learn the outcome by looking at the disks again, or from
// QvLastExitCode.
//
// QvStartTask blocks its caller and must run off the main thread: the time-limit timer lives on
// the main thread's event loop.
class QvTask {
public:
    static QvTask* QvShareInstance();

    void QvSetLaunchPath(const QString& path);         // a Mac path; a null string is ignored
    void QvSetArguments(const QStringList* arguments); // null keeps the previous arguments
    void QvSetArguments(const QStringList& arguments) { QvSetArguments(&arguments); }
    void QvSetTimeoutCount(double seconds);
    void QvStartTask();
    void QvStopTask();
    // The timer's action: marks the run as timed out and says so on the console.
    void QvTimerImp(QTimer* timer);

    QString launchPath() const { return _strLaunchPath; }
    QStringList arguments() const { return _arrArguments; }
    double timeoutCount() const { return _dTimeoutCount; }
    bool timedOut() const { return _bTimerOut.load(); }
    // The last run's exit status: -1 when it could not start, crashed or was stopped.
    int QvLastExitCode() const { return _iLastExitCode.load(); }
    // What the last run printed on its standard error (also passed on to this process's).
    QByteArray QvLastErrorOutput() const;

    QvTask();

private:
    QString _strLaunchPath;
    QStringList _arrArguments;
    std::atomic<bool> _bTimerOut{false};
    std::atomic<bool> _bStopAsked{false};
    std::atomic<int> _iLastExitCode{-1};
    double _dTimeoutCount = 60.0;
    mutable QMutex _errorLock;
    QByteArray _lastErrorOutput;
    // Which run the current timer belongs to, so a timer that fires after its run ended does
    // nothing.
    std::atomic<unsigned> _runGeneration{0};
};
