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
    void cancelFinishesTheCurrentItemOnly();
    void missingDestinationIsReported();
    void copiedTreeEqualsTheSource();
};
