#pragma once

#include <QObject>

class TestAttachedWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void placedCentredUnderThePoint();
    void pointOfAnInnerHostIsMappedToTheWindow();
    void followsItsContentAndNewPoints();
    void keptInsideTheWindow();
    void closeEmitsOnceAndDeletes();
};
