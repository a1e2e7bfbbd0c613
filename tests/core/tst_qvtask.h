#pragma once
#include <QObject>

class TestQvTask : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void limitsArgumentsAndTimersOfARun();
    void stopKillsTheToolWithinASecondOrSo();
    void stopAsksWithSigtermBeforeKilling();
};
