#pragma once

#include "filecopy/FileNode.h"

#include <QDateTime>
#include <QString>

#include <atomic>
#include <memory>

class DoCopyFilesDelegate {
public:
    virtual ~DoCopyFilesDelegate() = default;
    // The source path of the item about to be copied; on the main thread, the run waiting.
    virtual void topCopyFilePath(const QString& path) = 0;
    // Percent done; on the main thread, the run waiting. 100 or more means the run is over.
    virtual void topCopyProgress(float percent) = 0;
    // The destination folder is missing; on the copying thread.
    virtual void copyFileError() = 0;
};

// Copies the ticked part of a node tree into one destination folder, in the background, item
// by item with the platform's item copy, telling the delegate which item it is on and how far
// it has come.
//
// A run over an array: a selected item (state 1) is copied whole; a half-selected one (2) has
// its ticked children copied straight into the destination, where a half-selected child
// folder is recreated and filled by a run of its own that works beside the first (and clears
// isCancel as every run does); an unselected one (0) is skipped. Progress is 5 before the first
// item, then 100 * (i + 1) / count after each item, never below 5. A cancel lets the item being
// copied finish and starts no other. Nothing copied is removed after a cancel or a failure.
//
// Instances are shared with their runs: the owner may drop one while a run goes on.
class DoCopyFiles : public std::enable_shared_from_this<DoCopyFiles> {
public:
    static std::shared_ptr<DoCopyFiles> create() { return std::shared_ptr<DoCopyFiles>(new DoCopyFiles); }

    // The dated folder a copy goes into, "Tavrill(yyyy-MM-dd HH:mm:ss)" on the volume (Mac
    // paths), created with its parents. On a volume path of exactly "/" it is "/Tavrill(...)";
    // when the folder cannot then be entered, "/Users/<user>/Desktop/Tavrill(...)" is made and
    // answered instead.
    static QString createCopyFolderWithVolumePath(const QString& volumePath,
                                                  const QDateTime& now = QDateTime::currentDateTime());

    // Clears isCancel and starts a run over nodes into copyPath on the global pool.
    void doCopyFilesWithArr(const FileNodeList& nodes, const QString& copyPath);
    // Copies the ticked part of a half-selected folder's children into copyPath, on the
    // calling thread.
    void doCopyFilesWithChiNode(const FileNodeList& nodes, const QString& copyPath);
    // Copies one whole item into copyPath under a name that does not collide.
    void toCopyFileWithNode(const FileNode* node, const QString& copyPath);
    // fileName when copyPath holds no entry of exactly that name (or cannot be read); otherwise
    // fileNormalName without its extension followed by " 1", " 2", ... until one is free: a
    // colliding "Report.pdf" is copied as "Report 1".
    QString createFileWithPath(const QString& copyPath, const QString& fileNormalName,
                               const QString& fileName);

    bool isCancel() const { return m_isCancel; }
    void setIsCancel(bool value) { m_isCancel = value; }
    DoCopyFilesDelegate* delegate() const { return m_delegate; }
    void setDelegate(DoCopyFilesDelegate* delegate) { m_delegate = delegate; }
    // Runs started and not yet ended, nested runs included.
    int activeRuns() const { return m_activeRuns; }

private:
    DoCopyFiles() = default;
    void run(const FileNodeList& nodes, const QString& copyPath);
    void reportProgress(float percent);

    std::atomic<bool> m_isCancel{false};
    std::atomic<DoCopyFilesDelegate*> m_delegate{nullptr};
    std::atomic<int> m_activeRuns{0};
};
