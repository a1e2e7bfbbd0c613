#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <utility>

// Runs fn on the main thread later, like an asynchronous dispatch to the main queue.
template <typename Fn> void onMain(Fn&& fn) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::forward<Fn>(fn), Qt::QueuedConnection);
}

inline bool isMainThread() {
    const QCoreApplication* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

// Runs fn on the main thread and waits for it. Runs inline when already on the main thread, so
// a caller on the main thread cannot deadlock.
template <typename Fn> void onMainSync(Fn&& fn) {
    if (isMainThread()) {
        fn();
        return;
    }
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::forward<Fn>(fn),
                              Qt::BlockingQueuedConnection);
}
