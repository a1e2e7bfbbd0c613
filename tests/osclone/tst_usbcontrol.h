#pragma once

#include <QObject>

// The clone target control: which USB drives it lists, how it follows them, the clone volume's
// name, and carving a clone partition.
class TestUSBControl : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void listingTakesOnlyLargePlainUsbDrives();
    void plugAndPullKeepTheListRight();
    void arrivalOvertakenByRemovalAddsNothing();
    void concurrentPlugAndPull();
    void cloneVolumeName();
    void carvingRunsTheExactResize();
    void carvingRefusals_data();
    void carvingRefusals();
};
