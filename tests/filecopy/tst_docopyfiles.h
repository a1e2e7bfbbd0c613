#pragma once

#include <QObject>

class TestDoCopyFiles : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void datedFolderOnVolumesSlashAndDesktop();
    void datedFolderOnFatAndExFatHasNoColons_data();
    void datedFolderOnFatAndExFatHasNoColons();
    void progressRunsFromTheFloorToHundred();
    void collisionsDropTheExtensionAndCount();
    void halfSelectedFoldersCopyTheirTickedChildren();
    void cancelDuringALargeItemFinishesItAndStartsNoOther();
    void cancelHoldsInNestedHalfSelectedFolders();
    void skippedItemsAndAbort();
    void missingDestinationIsReported();
    void copiedTreeEqualsTheSource();
};
