#pragma once

#include "filecopy/FileNode.h"

// What the tree list tells the window that holds it. Both arrive on the main thread.
class ListFileViewControllerDelagate {
public:
    virtual ~ListFileViewControllerDelagate() = default;
    // True when "Done" starts measuring the selection, false if the measurement is dropped.
    virtual void getSelectFilesSize(bool measuring) { (void)measuring; }
    // The measured selection: the list's top-level array and its size in bytes.
    virtual void closeWindowWithSelect(const FileNodeArrayRef& select, qint64 selectSize) = 0;
};
