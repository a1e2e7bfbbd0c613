#pragma once

#include <QObject>

#include <memory>

class EmulatedMac;

class TestMainWindow : public QObject {
    Q_OBJECT
public:
    TestMainWindow();
    ~TestMainWindow() override;

private Q_SLOTS:
    void initTestCase();
    void startsOnDiskCopyWithFourTabsInOrder();
    void tabClickAnimatesHighlightAndSwitchesContainer();
    void lockedTabsIgnoreClicksButNotCloseUntilUnlocked();
    void switchingAwayAndBackKeepsTheTabAsLeft();
    void everyControlIsNamedAndReachedWithTab_data();
    void everyControlIsNamedAndReachedWithTab();

private:
    // The features' screens look at drives; they see the demo Mac, never the host's.
    std::unique_ptr<EmulatedMac> m_mac;
};
