#pragma once
#include <QObject>

class TestImages : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void imageRoundTripKeepsTheFiles();
    void createRefusesWhatARealMacRefuses();
    void resizeChangesTheCapacity();
};
