#include "core/QvTask.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "platform/Machine.h"

#include <QPointer>
#include <QProcess>
#include <QTimer>

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

void QvTask::QvStopTask() {
    _bTimerOut.store(true);
}

void QvTask::QvTimerImp(QTimer*) {
    _bTimerOut.store(true);
    QvConsoleLog("task timeout");
}

void QvTask::QvStartTask() {
    _bTimerOut.store(false);
    if (_dTimeoutCount < 60.0)
        _dTimeoutCount = 60.0;

    QProcess task;
    task.setProcessEnvironment(Machine::toolEnvironment());
    task.setProcessChannelMode(QProcess::ForwardedChannels);
    task.setInputChannelMode(QProcess::ForwardedInputChannel);
    task.setProgram(Machine::hostPath(_strLaunchPath));
    task.setArguments(_arrArguments);

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
        // Look once a second (sooner when the task ends) until it ends or must be stopped.
        while (task.state() != QProcess::NotRunning && !_bTimerOut.load())
            task.waitForFinished(1000);
        if (task.state() != QProcess::NotRunning && _bTimerOut.load()) {
            task.terminate();
            // Give the tool a moment to leave on its own; the destructor kills what is left.
            task.waitForFinished(300);
        }
    } else {
        QvConsoleLog("QvTask could not launch %s", qUtf8Printable(task.program()));
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
