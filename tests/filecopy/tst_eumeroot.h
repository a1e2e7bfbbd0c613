#pragma once

#include <QObject>

class TestEumeRoot : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void topLevelListing();
    void onDemandListingFollowsTheFathersState();
    void controllerTurnsEndScanIntoTheScreensCallback();
    void listsWhileTheListReadsAndAfterBeingReplaced();
    void callbacksComeOnTheMainThreadAndStopWithTheirController();
};
