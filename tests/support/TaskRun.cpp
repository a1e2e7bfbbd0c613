#include "TaskRun.h"

#include "Wait.h"
#include "core/QvTask.h"
#include "core/WorkerPool.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThreadPool>

#include <atomic>
#include <csignal>

qint64 runTask(const QString& tool, const QStringList& args, double limit, int waitMs,
               const std::function<void()>& whileRunning) {
    QvTask* task = QvTask::QvShareInstance();
    task->QvSetLaunchPath(tool);
    task->QvSetArguments(args);
    task->QvSetTimeoutCount(limit);
    std::atomic<bool> done{false};
    QElapsedTimer clock;
    clock.start();
    workerPool()->start([task, &done] {
        task->QvStartTask();
        done = true;
    });
    if (whileRunning)
        whileRunning();
    if (!waitUntil([&] { return done.load(); }, waitMs))
        return -1;
    return clock.elapsed();
}

bool processAlive(const QByteArray& pidText) {
    const int pid = pidText.trimmed().toInt();
    return pid > 0 && ::kill(pid, 0) == 0;
}
