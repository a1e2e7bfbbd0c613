#pragma once

#include <QObject>

// The picker's scans against emulated Macs: which volumes and disks become records, with which
// fields, and exactly which disk-tool calls they take.
class TestVolumeEnumerator : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void mountedScanFollowsVolumesListing();
    void volumesLeftOutOfTheScan();
    void faultyToolOutputSkipsOnlyThatVolume_data();
    void faultyToolOutputSkipsOnlyThatVolume();
    void lastListingEntryDecidesShowing();
    void systemVolumeAcrossVersions_data();
    void systemVolumeAcrossVersions();
    void usbScanOffersOnlyPlainUsbDisks();
    void incrementalAddRemoveAndOverlongNames();
    void workspaceScan();
};
