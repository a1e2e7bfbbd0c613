#pragma once

#include <QObject>

class TestLaunch : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void secondCopyExitsAndBringsTheFirstForward();
    void instancesAreKeptApartByIdentifier();
    void leftoverSocketOfACrashedCopyIsReclaimed();
    void screenshotRunSavesEveryTabAndEndsWithStatusZero();
    void menuOpensLinksAndWindows();
};
