#pragma once

#include <QObject>

class TestDiskCopyWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void copiesAWholeVolumeIntoTheDatedFolder();
    void copiesThreeDroppedFiles();
    void refusesTheSameVolumeAndTooLittleSpace();
    void copiesSomeFilesChosenInTheFileList();
    void cancelStopsWithinATickedFolder();
    void cancelHoldsInNestedHalfSelectedFolders();
    void progressLineMeasuresALargeCopy();
    void destinationUnpluggedDuringTheCopy();
    void fatStickGetsItsFolderAndLeavesOutWhatItCannotStore();
    void quitAndCloseDuringACopy_data();
    void quitAndCloseDuringACopy();
    // Verify, receipt and Resume.
    void verifyNamesWhatDiffers_data();
    void verifyNamesWhatDiffers();
    void receiptChecksWithXxhsum();
    void resumeAfterTheDriveCameBack();
};
