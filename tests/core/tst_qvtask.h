#pragma once
#include <QObject>

class TestQvTask : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void raisesShortLimitsAndKeepsLongOnes();
    void keepsArgumentsWhenGivenNone();
    void stopKillsTheToolWithinASecondOrSo();
    void stopAsksWithSigtermBeforeKilling();
    void normalEndLeavesNoTimerBehind();
};
