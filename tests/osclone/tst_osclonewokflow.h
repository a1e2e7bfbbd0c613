#pragma once

#include <QObject>

// The "OS Clone" tab in the main window, driven through its widgets on an emulated Mac.
class TestOsCloneWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void cloneToTheEnd();
    void tooSmallDrive();
    void confirmationListsWhatTheEraseDestroys();
    void cancelStopsTheClone();
    void unplugDuringTheClone();
    void quitDuringTheClone_data();
    void quitDuringTheClone();
    void rightsNotGiven_data();
    void rightsNotGiven();
    void needsSaidBeforeTheStart_data();
    void needsSaidBeforeTheStart();
};
