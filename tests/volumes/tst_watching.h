#pragma once

#include <QObject>

// Mount and unmount notifications: from a disk-tool run to every listener, on the main thread.
class TestWatching : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void mountAndUnmountReachEveryListener();
    void postsFromWorkersArriveInOrderOnMain();
};
