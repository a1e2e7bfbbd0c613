#pragma once

#include <QObject>

class TestDoCopyFiles : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void datedFolderOnVolumesSlashAndDesktop();
    void fourItemsReportFiveToHundred();
    void twentyItemsStartAtTheFloor();
    void collisionsDropTheExtensionAndCount();
    void halfSelectedFoldersCopyTheirTickedChildren();
    void cancelDuringALargeItemFinishesItAndStartsNoOther();
    void everyItemLogsItsOutcome();
    void missingDestinationIsReported();
    void copiedTreeEqualsTheSource();
};
