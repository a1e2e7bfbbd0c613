#pragma once

#include <QString>

class DiskWatcher;
class QObject;

// The drive picker's disk-arrival registration. Both callbacks are empty on purpose: an open
// picker keeps the list its scan found, and a disk that comes or goes shows only in the next
// picker.
void DiskAppearCallBack(const QString& bsdName, void* context);
void DiskDisappearCallBack(const QString& bsdName, void* context);

// Registers the two callbacks for every disk, with `picker` as their context, on the calling
// thread's event loop (the main thread's for a picker). The registration lives as long as the
// picker; the answer is the watcher behind it, a child of `picker`.
DiskWatcher* getDiskCallBack(QObject* picker);
