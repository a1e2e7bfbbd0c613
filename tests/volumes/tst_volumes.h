#pragma once

#include <QObject>

// The picker's scans against emulated Macs: which volumes and disks become records, with which
// fields, and exactly which disk-tool calls they take.
class TestVolumeEnumerator : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void mountedScanFollowsVolumesListing();
    void volumesLeftOutOfTheScan();
    void lastListingEntryDecidesShowing();
    void systemVolumeAcrossVersions_data();
    void systemVolumeAcrossVersions();
    void usbScanOffersOnlyPlainUsbDisks();
    void incrementalAddRemoveAndOverlongNames();
    void workspaceScan();
};

// Mount and unmount notifications: from a disk-tool run to every listener, on the main thread.
class TestWatching : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void mountAndUnmountReachEveryListener();
    void postsFromWorkersArriveInOrderOnMain();
};

// Drive rows on their own, with records made by hand.
class TestDiskList : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void iconFollowsEjectableThenSystemMount_data();
    void iconFollowsEjectableThenSystemMount();
    void usageBar_data();
    void usageBar();
    void labelsHoverAndClick();
};

// The whole picker against emulated Macs: scan, spinner, headings, rows, selection.
class TestPicker : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void mountedVolumesUnderTheirHeadings();
    void listHeightGrowsWithTheRows();
    void pickerGoneBeforeItsScanEnds();
    void rowsNameTheDriveAndItsVolumesInAPopover();
};
