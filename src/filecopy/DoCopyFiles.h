#pragma once

#include "filecopy/CopyReceipt.h"
#include "filecopy/FileNode.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

// What a copy run tells its screen. Every call arrives on the main thread while the run waits
// for it; none arrives once the delegate is cleared (on the main thread) or the run aborted.
class DoCopyFilesDelegate {
public:
    virtual ~DoCopyFilesDelegate() = default;
    // The source path of the item about to be copied.
    virtual void topCopyFilePath(const QString& path) = 0;
    // Percent done. 100 is sent once, when every item was copied.
    virtual void topCopyProgress(float percent) = 0;
    // The run has ended without copying everything: the destination folder went away, or
    // items could not be copied (each is in the log). Sent once, instead of 100.
    virtual void copyFileError() = 0;
    // Bytes of file data written so far, of bytesToCopy (-1 until the run has measured the
    // selection). Sent without waiting, about ten times a second while data moves (also in
    // the middle of a large file) and once more at the end; a report may arrive after the
    // run's last described report.
    virtual void topCopyBytes(std::int64_t bytesCopied, std::int64_t bytesToCopy) {
        (void)bytesCopied;
        (void)bytesToCopy;
    }
    // Everything was copied and the copy on the destination is now read back and compared
    // with the source (bytesVerified of bytesToVerify). Then 100 when every file matches, or
    // copyFileError with differingFiles() naming those that do not.
    virtual void topVerifyStarted() {}
};

// Copies the ticked part of a node tree into one destination folder, in the background, item
// by item with the platform's item copy, telling the delegate which item it is on and how far
// it has come.
//
// A run over an array: a selected item (state 1) is copied whole; a half-selected one (2) has
// its ticked children copied straight into the destination, and below that every half-selected
// folder is recreated and filled with its ticked children, on the same thread and within the
// same run; an unselected one (0) is skipped. Progress is 5 before the first item, then
// 100 * (i + 1) / count after each top-level item, never below 5.
//
// A cancel lets the file being written finish and starts nothing else anywhere in the run, also
// inside a wholly ticked folder; only a new run clears it. An abort (the screen going away, the application
// quitting) also cuts the item being copied short, removing its partial copy, and releases a run waiting for
// the main thread. Nothing copied is removed after a cancel or a failure.
//
// With verification on, every file copied is written, with its source's XXH3-128 checksum, into the receipt
// in the dated folder as it is done (CopyReceipt): the checksum is taken from the data as it passes through
// the copy's own buffers, or else by reading the source again. Once everything is copied the run verifies:
// each file of the receipt is read back from the destination past the system's cache and its checksum
// compared; a file missing, of another size or with other data is named in differingFiles().
//
// resume() continues a run that stopped (a cancel, a failed item, the destination pulled out)
// into the same dated folder: what is missing, or differs from its source in size or
// modification time, is copied (again); then everything is verified and the receipt completed.
//
// Instances are shared with their runs: the owner may drop one while a run goes on.
class DoCopyFiles : public std::enable_shared_from_this<DoCopyFiles> {
public:
    static std::shared_ptr<DoCopyFiles> create() { return std::shared_ptr<DoCopyFiles>(new DoCopyFiles); }

    // The name of the dated folder a copy goes into: "Tavrill(yyyy-MM-dd HH:mm:ss)", or with
    // dots for the colons ("Tavrill(2024-05-06 07.08.09)") on a file system that refuses ':'
    // in names (FAT, ExFAT, NTFS).
    static QString copyFolderName(const QDateTime& now, const QString& fileSystemType);
    // Makes the dated folder on the volume (Mac paths) and answers its path: "<volume>/<name>",
    // "/<name>" on the start-up volume ("/"). Only on the start-up volume, when that folder
    // cannot be entered (a read-only system volume), is it made on the user's Desktop, which
    // is on the same disk. When the folder cannot be made on the chosen volume the answer is
    // empty and error (when given) says why; the copy must not start then.
    static QString createCopyFolderWithVolumePath(const QString& volumePath,
                                                  const QDateTime& now = QDateTime::currentDateTime(),
                                                  QString* error = nullptr);

    // Clears isCancel and the failure count and starts a run over nodes into copyPath on the
    // worker pool.
    void doCopyFilesWithArr(const FileNodeList& nodes, const QString& copyPath);
    // Copies the ticked part of a half-selected folder's children into copyPath, on the
    // calling thread: a half-selected child folder is made and filled the same way.
    void doCopyFilesWithChiNode(const FileNodeList& nodes, const QString& copyPath);
    // Copies one whole item into copyPath under a name that does not collide.
    void toCopyFileWithNode(const FileNode* node, const QString& copyPath);
    // fileName when copyPath holds no entry of exactly that name (or cannot be read); otherwise
    // fileNormalName without its extension followed by " 1", " 2", ... until one is free: a
    // colliding "Report.pdf" is copied as "Report 1".
    QString createFileWithPath(const QString& copyPath, const QString& fileNormalName,
                               const QString& fileName);

    // Source items (Mac paths) left out of the next runs, wherever they are in the tree: what
    // the destination cannot store. Set before a run starts.
    void setSkippedPaths(const QSet<QString>& macPaths) { m_skipped = macPaths; }
    const QSet<QString>& skippedPaths() const { return m_skipped; }

    // A volume as the receipt and a resume know it.
    struct VolumeId {
        QString name;
        QString uuid;
        QString mountPoint; // a Mac path
    };
    // The mounted volume that holds a Mac path, with its name and UUID from the disk tool;
    // blocks while the tool runs.
    static VolumeId volumeHolding(const QString& macPath);
    // The mount point of the mounted volume with that UUID; empty when none is mounted.
    static QString mountPointOfVolume(const QString& uuid);

    // The source and destination volumes; set before a run (unknown parts are looked up when
    // the run starts).
    void setVolumes(const VolumeId& source, const VolumeId& destination) {
        m_sourceVolume = source;
        m_destinationVolume = destination;
    }
    // One line each for the receipt on the items the destination cannot store.
    void setLeftOutTexts(const QStringList& texts) { m_leftOutTexts = texts; }
    // Whether the run keeps a receipt and reads the copy back once complete (off unless asked).
    void setVerify(bool verify) { m_verify = verify; }
    // Called on the run's thread as a verify begins, with the dated folder (a Mac path): a
    // test's chance to change the copy first. Global; empty by default.
    static void setBeforeVerify(std::function<void(const QString& copyPath)> hook);

    // Continues the last run into its dated folder, on the global pool; see the class comment.
    // The volumes must be mounted again (found by UUID; the destination may have come back
    // under another mount point, which copyPath() then follows).
    void resume();
    // Whether the last run can be resumed: it ran, and it is not running.
    bool canResume() const { return !m_copyPath.isEmpty() && m_activeRuns == 0 && !m_abort; }
    // The dated folder of the last run (a Mac path).
    QString copyPath() const;
    // Why the last resume could not begin (a volume not back), or empty.
    QString resumeProblem() const;
    // The files (relative to the dated folder) the verify found different, in receipt order.
    QStringList differingFiles() const;
    bool isVerifying() const { return m_verifying; }
    std::int64_t bytesVerified() const { return m_bytesVerified; }
    std::int64_t bytesToVerify() const { return m_bytesToVerify; }
    // Files and data bytes the receipt holds once a run has ended.
    std::int64_t filesInReceipt() const { return m_receiptFiles; }
    std::int64_t bytesInReceipt() const { return m_receiptBytes; }

    bool isCancel() const { return m_isCancel; }
    void setIsCancel(bool value) { m_isCancel = value; }
    // Cancels for good and cuts the item being copied short; see the class comment.
    void abort();
    bool isAborted() const { return m_abort; }
    // Waits (blocking the calling thread, which need not be the main one) until no run is
    // left or ms have passed; answers whether none is left. After abort() this is quick.
    bool waitForRuns(int ms);

    // Main thread only.
    DoCopyFilesDelegate* delegate() const { return m_delegate; }
    void setDelegate(DoCopyFilesDelegate* delegate) { m_delegate = delegate; }
    // Runs started and not yet ended.
    int activeRuns() const { return m_activeRuns; }
    // Items of the current run that could not be copied.
    int failedItems() const { return m_failedItems; }
    // What the current run has put into the destination: files (and links) complete, and
    // bytes of file data written. After a cancel this is what stayed.
    std::int64_t filesCopied() const { return m_filesCopied; }
    std::int64_t bytesCopied() const { return m_bytesCopied; }
    // The file data the run's selection amounts to (less what is skipped); -1 until measured.
    std::int64_t bytesToCopy() const { return m_bytesToCopy; }

private:
    DoCopyFiles() = default;
    // Clears the run's flags and counters for a new run or a resume.
    void startOver(bool resuming);
    void run(const FileNodeList& nodes, const QString& copyPath);
    void startReceipt(const QString& copyPath);
    // Copies with the receipt kept: each file's checksum goes into it as the file is complete.
    bool copyWithReceipt(const QString& sourceHost, const QString& destinationHost, QString* error);
    void noteFailure(const QString& sourceMac, const QString& error);
    // Brings one item of a resumed run up to date: what is there and matches in size and time
    // stays.
    void resumeItem(const QString& sourceHost, const QString& destinationHost);
    bool findVolumesAgain();
    void verify();
    bool stopping() const { return m_isCancel || m_abort || m_destinationLost; }
    // Runs fn with the delegate on the main thread and waits for it, unless aborted meanwhile.
    template <typename Fn> void tellDelegate(Fn fn);
    void reportProgress(float percent);
    // Sends topCopyBytes unless one went less than a tenth of a second ago (force: anyway) or
    // one is still on its way.
    void reportBytes(bool force);
    // Measures the selection for bytesToCopy, beside the run.
    void measure(const FileNodeList& nodes);

    std::atomic<bool> m_isCancel{false};
    std::atomic<bool> m_abort{false};
    std::atomic<bool> m_destinationLost{false};
    std::atomic<int> m_failedItems{0};
    std::atomic<int> m_activeRuns{0};
    std::atomic<std::int64_t> m_filesCopied{0};
    std::atomic<std::int64_t> m_bytesCopied{0};
    std::atomic<std::int64_t> m_bytesToCopy{-1};
    std::atomic<std::int64_t> m_lastBytesReportMs{0};
    std::atomic<bool> m_bytesReportPending{false};
    std::atomic<bool> m_resuming{false};
    std::atomic<bool> m_verifying{false};
    std::atomic<std::int64_t> m_bytesVerified{0};
    std::atomic<std::int64_t> m_bytesToVerify{0};
    std::atomic<std::int64_t> m_receiptFiles{0};
    std::atomic<std::int64_t> m_receiptBytes{0};
    bool m_verify = false;
    DoCopyFilesDelegate* m_delegate = nullptr; // main thread only
    QSet<QString> m_skipped;                   // written before a run, read by it
    QStringList m_leftOutTexts;
    VolumeId m_sourceVolume;
    VolumeId m_destinationVolume;
    // Kept from the run for a resume and for the verify; the run's thread alone writes them
    // while it runs.
    FileNodeList m_nodes;
    QString m_copyPath;                   // guarded by m_stateLock
    QString m_resumeProblem;              // guarded by m_stateLock
    QStringList m_differing;              // guarded by m_stateLock
    QHash<QString, QString> m_placedAs;   // top-level source path -> name in the dated folder
    QHash<QString, std::int64_t> m_sizes; // relative path in the copy -> bytes
    QString m_copyHost;                   // the dated folder as a host path, for the run's thread
    CopyReceipt m_receipt;
    mutable std::mutex m_stateLock;
    // Wakes a run waiting for the main thread, or the owner waiting for the runs to end.
    std::mutex m_waitLock;
    std::condition_variable m_wake;
};
