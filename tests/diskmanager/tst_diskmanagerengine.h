#pragma once

#include <QObject>

// The Disk Manager's listing and volume operations without widgets, against emulated Macs.
class TestDiskManagerEngine : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void listingTakesEachMountedVolumeOnce();
    void fat32NameRule_data();
    void fat32NameRule();
    void renameAndFormatRunOneLiteralLineEach();
    void namesThatCannotBeUsedRunNothing_data();
    void namesThatCannotBeUsedRunNothing();
};
