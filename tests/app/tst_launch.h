#pragma once

#include <QObject>

class TestLaunch : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void secondCopyExitsAndBringsTheFirstForward();
    void leftoverSocketIsReclaimedAndInstancesKeptApartByIdentifier();
    void screenshotRunSavesEveryTabAndEndsWithStatusZero();
    void menuOpensLinksAndWindows();
};
