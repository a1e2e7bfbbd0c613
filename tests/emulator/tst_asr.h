#pragma once
#include <QObject>

class TestAsr : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void restoresInEachDelivery_data();
    void restoresInEachDelivery();
    void failsAtTheKnobsPercentage();
    void answerNoStopsBeforeTouchingTheTarget();
    void pullingTheTargetFailsTheRun();
};
