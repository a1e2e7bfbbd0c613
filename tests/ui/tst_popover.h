#pragma once

#include <QObject>

class TestPopover : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void shownUnderTheAnchorWithItsArrow();
    void sideTwoGoesRightOrFlipsWhenThereIsNoRoom();
    void closesOnAClickOutsideOrEscapeOnly();
};
