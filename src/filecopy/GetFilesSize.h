#pragma once

#include "filecopy/FileNode.h"

#include <QString>

#include <atomic>
#include <memory>

class GetFilesSizeDelegate {
public:
    virtual ~GetFilesSizeDelegate() = default;
    // The total of a pass, in bytes, sent on the main thread.
    virtual void allCopyFilesSize(qint64 size) = 0;
};

// Adds up the bytes a selection in a node tree amounts to, in the background, and reports
// the total to its delegate.
//
// One pass walks an array: a selected file adds the size stored at listing time, a selected
// folder is measured afresh on disk, a half-selected folder starts a pass of its own over its
// children. Such a pass resets the shared total, runs beside the first one, adds into the same
// total and reports on its own, so a selection with half-selected folders reports more than
// once and the screens keep the last report. A selection without them reports once, exactly.
//
// getSelectionSizeWithArr measures the same selection in one pass that walks into half-selected
// folders itself, and reports the exact total once: what a screen that acts on the figure needs.
//
// Instances are shared with their passes: the owner may drop one while a pass runs. Reports
// are delivered on the main thread, where the delegate is set and cleared, and the delegate
// is looked up as each report is delivered; an owner going away clears it or cancels first.
class GetFilesSize : public std::enable_shared_from_this<GetFilesSize> {
public:
    static std::shared_ptr<GetFilesSize> create() { return std::shared_ptr<GetFilesSize>(new GetFilesSize); }

    // Resets the total and starts one pass over nodes on the worker pool; returns at once.
    void getAllFilesSizeWithArr(const FileNodeList& nodes);
    // Measures the selection in nodes on the worker pool and reports its exact total once.
    void getSelectionSizeWithArr(const FileNodeList& nodes);
    // Stops every pass of this instance after the folder batch in progress; none reports
    // afterwards, and passes started later stop at once. For good.
    void cancelPass();
    bool isPassCancelled() const { return m_isPassCancelled; }

    // totailSize plus the data length of every file at or below path (a Mac path); folders
    // count nothing, links count as themselves, unreadable items count 0. stop, when set,
    // cuts the walk short (the answer then counts what was walked).
    static quint64 getFileSizeWithPat(const QString& path, quint64 totailSize,
                                      const std::atomic<bool>* stop = nullptr);
    static quint64 getOneFileSizeWithPath(const QString& path);
    static void sortFatherSizeWithRootFileNode(FileNode* node, quint64 totailSize) {
        node->setSize(totailSize);
    }

    // Can be set; a pass never looks at it and always reports.
    bool isCancel() const { return m_isCancel; }
    void setIsCancel(bool value) { m_isCancel = value; }
    // Main thread only.
    GetFilesSizeDelegate* delegate() const { return m_delegate; }
    void setDelegate(GetFilesSizeDelegate* delegate) { m_delegate = delegate; }
    quint64 allFileSize() const { return m_allFileSize; }

private:
    GetFilesSize() = default;
    void runPass(const FileNodeList& nodes);
    // The bytes the selection in nodes amounts to, half-selected folders walked in place.
    quint64 selectionSize(const FileNodeList& nodes) const;
    // The bytes of a whole folder: the lengths its listing read where it has been listed (as
    // half-selected folders are counted), the disk walked where not.
    quint64 wholeFolderSize(const FileNode& folder) const;
    void report(quint64 total);

    std::atomic<bool> m_isCancel{false};
    std::atomic<bool> m_isPassCancelled{false};
    std::atomic<quint64> m_allFileSize{0};
    GetFilesSizeDelegate* m_delegate = nullptr; // main thread only
};
