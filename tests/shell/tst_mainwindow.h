#pragma once

#include <QObject>

class TestMainWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void startsOnDiskCopyWithFourTabsInOrder();
    void tabClickAnimatesHighlightAndSwitchesContainer();
    void lockedTabsIgnoreClicksUntilUnlocked();
    void switchingAwayAndBackKeepsTheTabAsLeft();
    void closeEndsTheProcessEvenWhileLocked();
};
