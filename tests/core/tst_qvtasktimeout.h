#pragma once
#include <QObject>

// The time limit itself: a minute at least, so this one runs with the slow tests.
class TestQvTaskTimeout : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void timeLimitKillsTheToolAndSaysSo();
};
