#include "platform/ToolProcesses.h"

#include <QMutex>
#include <QSet>

#include <csignal>
#include <unistd.h>

namespace {

QMutex lock;
bool killOnSight = false;

void killTool(qint64 pid) {
    const auto id = static_cast<pid_t>(pid);
    if (::getpgid(id) == id)
        ::kill(-id, SIGKILL);
    ::kill(id, SIGKILL);
}

QSet<qint64>& remembered() {
    static QSet<qint64> pids;
    return pids;
}

} // namespace

namespace ToolProcesses {

void remember(qint64 pid) {
    if (pid <= 0)
        return;
    QMutexLocker locker(&lock);
    if (killOnSight)
        killTool(pid);
    else
        remembered().insert(pid);
}

void forget(qint64 pid) {
    QMutexLocker locker(&lock);
    remembered().remove(pid);
}

int count() {
    QMutexLocker locker(&lock);
    return int(remembered().size());
}

int killAll() {
    QMutexLocker locker(&lock);
    const QSet<qint64> pids = std::exchange(remembered(), {});
    for (const qint64 pid : pids)
        killTool(pid);
    return int(pids.size());
}

void killAllFromNowOn() {
    {
        QMutexLocker locker(&lock);
        killOnSight = true;
    }
    killAll();
}

void allowAgain() {
    QMutexLocker locker(&lock);
    killOnSight = false;
}

} // namespace ToolProcesses
