#pragma once

#include <QObject>

// Drive rows on their own, with records made by hand.
class TestDiskList : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void iconFollowsEjectableThenSystemMount_data();
    void iconFollowsEjectableThenSystemMount();
    void usageBar_data();
    void usageBar();
    void labelsOfAVolume();
    void hoverAndClick();
};
