#pragma once

#include <QObject>
#include <QString>

class TestFileListWindow : public QObject {
    Q_OBJECT
public:
    // The child side of quittingMidwayCancelsTheRun: lists /Volumes/Big, quits while listing or
    // while measuring, and prints what the listing left behind.
    static int quitWhile(const QString& stage);

private Q_SLOTS:
    void ticksFollowTheRulesDoneHandsBackTheExactSizeAndItShowsAgain();
    void listingStateRefusesClicksAndMeasuringRefusesClose();
    void closingMidwayReachesNobody();
    void quittingMidwayCancelsTheRun();
};
