#pragma once

#include "filecopy/DiskListWC.h"

#include <QModelIndex>
#include <QString>

// Drives the file list window the way a user does, for the tests of the screens that open it:
// find a path's row (opening the folders above it), tick it, press "Done" and take what the
// window hands back.
namespace FileListTestKit {

// Records what the window hands back.
struct HandBack : DiskListWCDelegate {
    FileNodeArrayRef select;
    qint64 size = -1;
    int calls = 0;
    void closeWindowWithSelect(const FileNodeArrayRef& arr, qint64 selectSize) override {
        select = arr;
        size = selectSize;
        ++calls;
    }
};

// Waits until the top level is listed and the list is ready ("Done" enabled).
bool waitForListing(DiskListWC* window, int ms = 20000);
// The CheckBox cell of the row showing macPath, expanding the folders above it (and waiting
// for their listings) as a user would; invalid when there is no such row.
QModelIndex revealRow(DiskListWC* window, const QString& macPath, int ms = 10000);
// Expands the row of a folder and waits until its children are listed.
bool expandRow(DiskListWC* window, const QString& macPath, int ms = 10000);
// Clicks the row's checkbox (scrolling to it first); false when there is no such row.
bool clickCheckBox(DiskListWC* window, const QString& macPath);
// The state of the row's node (0, 1, 2), -1 when there is no such row.
int stateOf(DiskListWC* window, const QString& macPath);
// Clicks "Done"; false when it is disabled.
bool clickDone(DiskListWC* window);
// Clicks "Done" and waits until the window has handed its selection to back (its delegate).
bool clickDoneAndWait(DiskListWC* window, const HandBack& back, int ms = 20000);

} // namespace FileListTestKit
