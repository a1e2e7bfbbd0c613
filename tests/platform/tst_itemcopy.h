#pragma once

#include <QObject>

class TestItemCopy : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void copiesATreeWithDataModesTimesAndLinks();
    void singleItemsAndRefusals();
    void emulatedFatVolumeRefusesWhatFatCannotStore();
    void skipsEntriesAndStopsWhenAborted();
    void throttledVolumeTakesDataAtItsPace();
    void cancelFinishesTheFileUnderWayAndProgressFollowsIt();
};
