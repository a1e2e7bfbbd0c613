#pragma once

#include "filecopy/FileNode.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

// Why a run ended without its result.
struct MakeDmgFailure {
    enum class Kind {
        CreateFailed, // hdiutil made no image (no space, bad size, name in use, ...)
        MountFailed,  // the new image's volume did not appear
        VolumeInUse,  // a volume of the image's name was mounted before the run
        ItemsMissing, // some selected items are not in the image or the archive
        ToolFailed,   // zip ended with a status other than 0, or the image would not eject
    };
    Kind kind = Kind::CreateFailed;
    int missingItems = 0; // ItemsMissing: how many
    int exitStatus = 0;   // ToolFailed: zip's status (-1: it crashed or was killed)
};

// What the builder tells its owner; every operation is optional. All calls arrive on the main
// thread.
class MakeDmgDelegate {
public:
    virtual ~MakeDmgDelegate() = default;
    // A progress step: a text to show and a percentage. 100 is sent once, when the image is
    // complete and ejected or the archive is written and zip's status checked, and never
    // after a failure or a stop.
    virtual void copyFileToDmgWithFileName(const QString& text, float progress) {
        (void)text;
        (void)progress;
    }
    // Bytes of file data put into the image, or of the files zip has taken, of the bytes to do
    // (-1 until the selection is measured). Sent about ten times a second while data moves,
    // also in the middle of a large file copied into the image (zip tells of a file once it
    // has taken all of it).
    virtual void makeDmgBytes(std::int64_t bytesDone, std::int64_t bytesToDo) {
        (void)bytesDone;
        (void)bytesToDo;
    }
    // The run ended without its result. Nothing follows.
    virtual void makeDmgFailWithError(const MakeDmgFailure& failure) { (void)failure; }
    // The new image is mounted; the owner answers with doCopyFilesToDmgWithDmg.
    virtual void beginToCopyDmg() {}
    // A stopped run has cleaned up: the image it mounted is ejected and the partial file it
    // made is removed.
    virtual void makeDmgDidStop() {}
};

// The image builder: packs files and folders (Mac paths) into a read/write disk image with
// hdiutil, or into a zip archive with zip, and reports each step to its owner.
//
// An image takes four stages: create an empty image beside the staging folder
// "/tmp/com.kelvaro.clone", mount it, copy the items into its volume "/Volumes/TavrillDmg" one
// by one, and eject it. Progress counts items: 20 first, then each item's share, so four
// items read 20, 25, 50, 75, 100. An archive is one `zip -r` run whose entry lines move the
// progress.
//
// Safety, beyond the bare pipeline:
//  - a mount that hangs is ended at the tools' usual time limit, and what it mounted is ejected;
//  - a run refuses to start while a volume named "TavrillDmg" is mounted, and ejects only the
//    volume its own mount made (matched by its UUID);
//  - items that could not be copied or packed, and a zip status other than 0, end the run as
//    a failure that says how many items are missing;
//  - a stop removes the partial ".dmg" or ".zip" the run made (never a file that was there
//    before) and ejects what it mounted.
//
// Tools run through the Machine seam, as argument lists (no shell), so names reach them as
// they are. One builder serves one run at a time; the tools run on background threads and
// their progress comes back to the main thread.
class MakeDmg : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kImageTool = "/usr/bin/hdiutil";
    static constexpr const char* kArchiveTool = "/usr/bin/zip";
    static constexpr const char* kStagingFolder = "/tmp/com.kelvaro.clone";
    static constexpr const char* kRootFallbackFolder = "/Tavrill_dmg";
    static constexpr const char* kVolumeName = "TavrillDmg";
    static constexpr const char* kVolumeFolder = "/Volumes/TavrillDmg";
    static constexpr std::uint64_t kHeadroom = 50000000;
    static constexpr int kFirstProgress = 20;
    static QString creatingText(); // "Creating disk image…"

    explicit MakeDmg(QObject* parent = nullptr);
    ~MakeDmg() override; // stops a run and waits for its thread

    void setMakeDmgDelegate(MakeDmgDelegate* delegate) { m_delegate = delegate; }
    MakeDmgDelegate* makeDmgDelegate() const { return m_delegate; }

    // Stage 1: an empty image "<folder>/<name>.dmg" of size + 50,000,000 bytes. A folder of
    // "/" means "/Tavrill_dmg", made world-writable.
    void makeTmpDmgWithPath(const QString& folder, const QString& name, std::uint64_t size);
    // Stage 3, the owner's answer to beginToCopyDmg: copies the items, then ejects.
    void doCopyFilesToDmgWithDmg(const QStringList& paths);
    // The archive: "zip -r <zipPath> <every selected path>", run in the folder that holds the
    // top-level items (a volume's root), with the paths relative to it.
    void doZipWithPath(const QString& zipPath, const FileNodeList& nodes);
    // Stops the run; makeDmgDidStop follows once it has cleaned up.
    void stopMakeDmg();

    bool isCancelCopy() const { return m_isCancelCopy; }
    void setIsCancelCopy(bool value) { m_isCancelCopy = value; }
    // A run (or the clean-up of a stopped one) is under way.
    bool isBusy() const { return m_busy; }

    // "diskutil info -plist <what>" through the builder's runner; nothing when no answer.
    static std::optional<QVariantMap> getDisjInfo(const QString& what);
    // The selected paths of a node tree (state 1 taken whole, 2 walked into) and the number of
    // entries zip is expected to report for them: a file counts 1, a selected folder the
    // entries below it.
    static void getAllFileCount(const FileNodeList& nodes, QStringList* paths, std::uint64_t* count);
    // The same paths without the count.
    static void selectedPaths(const FileNodeList& nodes, QStringList* paths);
    static std::uint64_t getAllFileCountWithPath(const QString& folder);
    // The folder zip runs in: the one holding every top-level item of the tree.
    static QString zipFolderFor(const FileNodeList& nodes);
    // zip's arguments for the selected paths, named relative to that folder.
    static QStringList zipArguments(const QString& zipPath, const QString& folder, const QStringList& paths);
    // The folder an image goes into: "/" becomes the root fallback folder.
    static QString imageFolderFor(const QString& folder);
    // hdiutil's arguments for stage 1.
    static QStringList createArguments(const QString& imagePath, std::uint64_t size);

    QString dmgNameStr() const { return m_dmgNameStr; }

private:
    struct Job;
    void startWorker(std::function<void()> work);
    void report(const QString& text, float progress);
    // Sends makeDmgBytes unless one went less than a tenth of a second ago (force: anyway) or
    // one is still on its way.
    void reportBytes(bool force);
    // Measures the selected paths for the bytes to do, beside the run.
    void measure(const QStringList& paths);
    // Waits until measure has set the bytes to do (or the run is stopped).
    void waitForMeasure();
    void fail(const MakeDmgFailure& failure);
    void stopped();
    // Worker steps.
    void createAndMount(const std::shared_ptr<Job>& job);
    void copyAndEject(const std::shared_ptr<Job>& job);
    void zip(const std::shared_ptr<Job>& job, const FileNodeList& nodes);
    void cleanUpStopped(const std::shared_ptr<Job>& job);
    bool eject(Job& job);

    MakeDmgDelegate* m_delegate = nullptr;
    QString m_dmgNameStr;
    std::shared_ptr<Job> m_job; // main thread only
    std::atomic<bool> m_isCancelCopy{false};
    std::atomic<bool> m_busy{false};
    std::atomic<int> m_workers{0};
    std::atomic<std::int64_t> m_bytesDone{0};
    std::atomic<std::int64_t> m_bytesToDo{-1};
    std::atomic<std::int64_t> m_lastBytesReportMs{0};
    std::atomic<bool> m_bytesReportPending{false};
};
