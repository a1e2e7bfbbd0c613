#pragma once

#include <QObject>

class TestEumeRoot : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void topLevelDropsTheSkipListOnlyAtTheTopAndRootPathsHaveOneSlash();
    void filesComeFirstLargestFirstThenFoldersInListingOrder();
    void fileAndMissingRoots();
    void onDemandListingFollowsTheFathersState();
    void controllerTurnsEndScanIntoTheScreensCallback();
    void fullTreeListingMeasuresAndReportsOncePerProcess();
    void listsWhileTheListReadsAndAfterBeingReplaced();
    void callbacksComeOnTheMainThreadAndStopWithTheirController();
};
