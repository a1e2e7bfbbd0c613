#include "core/QvTask.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/QvLog.h"
#include "platform/Machine.h"
#include "platform/Shell.h"
#include "platform/ToolProcesses.h"

#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QTimer>

#include <cstdio>

QvTask* QvTask::QvShareInstance() {
    static QvTask instance;
    return &instance;
}

QvTask::QvTask() {
    _strLaunchPath.reserve(64);
    _arrArguments.reserve(8);
}

void QvTask::QvSetLaunchPath(const QString& path) {
    if (path.isNull())
        return;
    _strLaunchPath = path;
}

void QvTask::QvSetArguments(const QStringList* arguments) {
    if (!arguments)
        return;
    _arrArguments.clear();
    _arrArguments.append(*arguments);
}

void QvTask::QvSetTimeoutCount(double seconds) {
    _dTimeoutCount = seconds;
}

QByteArray QvTask::QvLastErrorOutput() const {
    QMutexLocker lock(&_errorLock);
    return _lastErrorOutput;
}

void QvTask::QvStopTask() {
    _bStopAsked.store(true);
    _bTimerOut.store(true);
}

void QvTask::QvTimerImp(QTimer*) {
    _bTimerOut.store(true);
    QvConsoleLog("task timeout");
}

void QvTask::QvStartTask() {
    _bTimerOut.store(false);
    _bStopAsked.store(false);
    if (_dTimeoutCount < 60.0)
        _dTimeoutCount = 60.0;

    QProcess task;
    task.setProcessEnvironment(Machine::toolEnvironment());
    task.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    task.setStandardInputFile(QProcess::nullDevice());
    task.setProgram(Machine::hostPath(_strLaunchPath));
    task.setArguments(_arrArguments);
    startInOwnProcessGroup(task);
    _iLastExitCode.store(-1);

    // A one-shot timer on the main thread's loop, tagged with this run.
    const unsigned generation = ++_runGeneration;
    const int intervalMs = static_cast<int>(qMin(_dTimeoutCount * 1000.0, 2147483647.0));
    auto timer = std::make_shared<QPointer<QTimer>>();
    onMainSync([this, timer, generation, intervalMs] {
        auto* t = new QTimer(QCoreApplication::instance());
        t->setSingleShot(true);
        t->setTimerType(Qt::PreciseTimer);
        QObject::connect(t, &QTimer::timeout, t, [this, t, generation] {
            if (_runGeneration.load() == generation)
                QvTimerImp(t);
            t->deleteLater();
        });
        t->start(intervalMs);
        *timer = t;
    });

    task.start();
    if (task.waitForStarted(-1)) {
        const ToolProcesses::Remembered remembered(task.processId());
        // Look once a second (sooner when the task ends) until it ends or must be stopped.
        while (task.state() != QProcess::NotRunning && !_bTimerOut.load())
            task.waitForFinished(1000);
        if (task.state() != QProcess::NotRunning && _bTimerOut.load()) {
            // Asked to stop, or out of time: the tool gets SIGTERM and the grace period to
            // leave on its own before it is killed.
            const QStringList line = QStringList{QFileInfo(_strLaunchPath).fileName()} + _arrArguments;
            QvLog("stopped %s: %s", qUtf8Printable(line.join(QLatin1Char(' '))),
                  _bStopAsked.load() ? "stop asked for" : "time limit reached");
            stopGracefully(task, toolTimeLimits().graceMs);
        } else if (task.exitStatus() == QProcess::NormalExit) {
            _iLastExitCode.store(task.exitCode());
        }
    } else {
        QvConsoleLog("QvTask could not launch %s", qUtf8Printable(task.program()));
    }

    const QByteArray errors = task.readAllStandardError();
    if (!errors.isEmpty())
        std::fwrite(errors.constData(), 1, size_t(errors.size()), stderr);
    {
        QMutexLocker lock(&_errorLock);
        _lastErrorOutput = errors;
    }

    // Invalidate the timer so no stray "task timeout" follows a normal end.
    ++_runGeneration;
    onMain([timer] {
        if (QTimer* t = timer->data()) {
            t->stop();
            t->deleteLater();
        }
    });
    QvConsoleLog("QvStartTask return");
}
