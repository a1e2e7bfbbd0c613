#pragma once

#include <QObject>

// What the platform layer reads from the emulated Mac's mount table, and what its watcher
// reports when volumes and disks come and go.
class TestDiskArbitration : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void volumesFromTheMountTable();
    void sealedSystemSnapshot();
    void watcherReportsChangesInOrder();
};
