#pragma once
#include <QObject>

class TestAsr : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void restoresInEachDelivery_data();
    void restoresInEachDelivery();
    void replicationFails_data();
    void replicationFails();
    void answerNoStopsBeforeTouchingTheTarget();
};
