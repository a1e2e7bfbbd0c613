#pragma once

#include <QObject>

class TestSlot : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void droppedFileNamesReachTheDelegateInOrder();
    void otherDropsAreRefusedWithTheirLogLines();
    void clicksCarryTheSlotNumberOnlyWhileItCanSelect();
    void showsWhatItIsGiven();
};
