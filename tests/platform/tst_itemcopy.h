#pragma once

#include <QObject>

class TestItemCopy : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void copiesATreeWithDataModesTimesAndLinks();
    void copiesSingleFilesAndLinks();
    void refusesAnExistingDestination();
    void reportsAMissingSource();
    void emulatedFatVolumeRefusesWhatFatCannotStore();
    void skipsEntriesAndStopsWhenAborted();
    void throttledVolumeTakesDataAtItsPace();
    void cancelFinishesTheFileUnderWayAndProgressFollowsIt();
};
