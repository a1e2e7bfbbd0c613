#pragma once

#include <QObject>

class TestSlot : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void droppedFileNamesReachTheDelegateInOrder();
    void otherDropsAreRefusedWithTheirLogLines();
    void clicksAndClosesCarryTheSlotNumber();
    void aSlotThatCannotSelectIgnoresEverything();
    void showsWhatItIsGiven();
};
