#pragma once

#include <QObject>

class TestMakeDmg : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void imageHoldsTheItemsByteForByte();
    void archiveUnzipsToTheSelection();
    void stopInEachStageLeavesNothingBehind_data();
    void stopInEachStageLeavesNothingBehind();
    void closingMidRunGivesBackTheMountedImage();
    void rootVolumeGetsAFolderOfItsOwn();
    void neverTakesOverAVolumeItDidNotMount();
    void toolFailuresAndFullDestinations();
    void unreadableItemsAreCountedAsMissing();
    void emptyFoldersZipWithoutACount();
};
