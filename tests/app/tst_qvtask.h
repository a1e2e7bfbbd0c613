#pragma once
#include <QObject>

class TestQvTask : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void raisesShortLimitsAndKeepsLongOnes();
    void keepsArgumentsWhenGivenNone();
    void stopKillsTheToolWithinASecondOrSo();
    void normalEndLeavesNoTimerBehind();
};

// The time limit itself: a minute at least, so this one runs with the slow tests.
class TestQvTaskTimeout : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void timeLimitKillsTheToolAndSaysSo();
};
