#pragma once

#include <QObject>

// The "Disk Manager" tab driven through its widgets (offscreen) against emulated Macs: what the
// table shows, what each button runs, and the format popups.
class TestDiskManagerWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void tabListsVolumesAndRenamesFromTheRow();
    void formatNtfsThroughThePopups();
    void formatWithTheTypeMenu();
    void ejectFromTheRow();
    void mountDuringListingIsReadAfterIt();
    void unusableNamesAndFailuresAreShown();
    void formatConfirmationListsOnlyWhatThatEraseDestroys();
};
