#pragma once

#include <QObject>

class TestTransferMeter : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void lineOverTime_data();
    void lineOverTime();
    void spokenTimes_data();
    void spokenTimes();
};
