#pragma once

#include <QObject>

class TestMakeDmg : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void imageHoldsTheItemsByteForByte();
    void archiveUnzipsToTheSelection();
    void stopInEachStageLeavesNothingBehind_data();
    void stopInEachStageLeavesNothingBehind();
    void imageVolumeIsOnlyEverItsOwn();
    void toolFailuresAndFullDestinations();
    void unreadableItemsAreCountedAsMissing();
    void emptyFoldersZipWithoutACount();
};
