#pragma once

#include <QStringList>

class QObject;

// What a slot tells the screen that owns it; every operation is optional. The slot number is
// the slot's `diskFrom` (1 source, 2 destination).
class SelectValueViewDelegate {
public:
    virtual ~SelectValueViewDelegate() = default;
    // The slot was clicked (its picture or its open area).
    virtual void selectDiskButton(int slot, QObject* sender) {
        (void)slot;
        (void)sender;
    }
    // The close mark of the slot was clicked.
    virtual void closeDiskValue(int slot) { (void)slot; }
    // File names were dropped onto the slot: the paths in the order of the drop. Turning them
    // into file nodes is the screen's work.
    virtual void viewDragAction(const QStringList& paths) { (void)paths; }
};
