#pragma once
#include <QObject>

class TestEmulatedMachine : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void swVersByVersion_data();
    void swVersByVersion();
    void killallAndTheHostToolWrappers();
    void plugAndUnplugShowAtOnce();
    void scenarioFileSystemNames();
    void sizesInEachToolsUnits();
    void faultKnobs();
    void concurrentCallsKeepTheStateWhole();
    void everyCallIsLoggedWithItsArgv();
};
