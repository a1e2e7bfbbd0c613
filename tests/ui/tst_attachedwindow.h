#pragma once

#include <QObject>

class TestAttachedWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void placedCentredUnderThePointInsideTheWindow_data();
    void placedCentredUnderThePointInsideTheWindow();
    void pointOfAnInnerHostIsMappedToTheWindow();
    void followsItsContentAndNewPointsAndClosesOnce();
};
