#pragma once

#include <QObject>

// The copy engine: the dated folder, progress, collisions, half-selected folders, cancel,
// failures, Resume, and the check of what the destination cannot store.
class TestDoCopyFiles : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void datedFolderOnAVolumeTheStartUpDiskOrTheDesktop();
    void datedFolderOnFatAndExFatHasNoColons_data();
    void datedFolderOnFatAndExFatHasNoColons();
    void progressRunsFromTheFloorToHundred();
    void collisionsDropTheExtensionAndCount();
    void halfSelectedFoldersAndLeftOutItems();
    void cancelHoldsInNestedHalfSelectedFolders();
    void cancelDuringALargeItemFinishesItAndStartsNoOther();
    void failedItemsAreReported();
    void resumeRecopiesOnlyWhatIsMissingOrCutShort();
    void destinationCheckFindsWhatTheDestinationCannotStore();
};
