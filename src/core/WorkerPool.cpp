#include "core/WorkerPool.h"

#include <QThreadPool>

QThreadPool* workerPool() {
    // The work mostly waits (for tools, for disks), so more threads than cores.
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool;
        p->setMaxThreadCount(16);
        return p;
    }();
    return pool;
}
