#pragma once
#include <QObject>

class TestDiskutilOutput : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void systemVolumeFollowsTheVersion_data();
    void systemVolumeFollowsTheVersion();
    void keysAreInByteOrderWithRealTypes();
    void volumeKindsReportTheirFileSystems();
    void lookupsByEveryFormAndUnknownDevices();
    void freeSpaceFollowsStoredBytes();
};
