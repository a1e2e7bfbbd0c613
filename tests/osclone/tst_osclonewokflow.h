#pragma once

#include <QObject>

// The "OS Clone" tab in the main window, driven through its widgets on an emulated Mac.
class TestOsCloneWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void cloneToTheEnd();
    void confirmationListsWhatTheEraseDestroys();
    void quitDuringTheClone_data();
    void quitDuringTheClone();
    void failuresAreShown_data();
    void failuresAreShown();
    void needsSaidBeforeTheStart_data();
    void needsSaidBeforeTheStart();
};
