#pragma once

#include "diskmanager/VolumeOperations.h"
#include "volumes/VolumeObj.h"

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <cstdint>
#include <memory>

class DriveSurvey;

// The Disk Manager's volume list and the background half of its operations, without widgets.
// RepairDiskViewController keeps the documented operation names and calls this.
//
// The listing walks "/Volumes/", resolves each entry to its device with disk arbitration and
// asks the disk tool about it, on a worker of the worker pool; the finished list replaces
// allVolumeArr on the main thread. isScanV keeps two listings from being started at once; when
// it is cleared by force (after a format) and a second listing starts, only the newest one's
// list is taken.
class DiskManagerEngine : public QObject {
    Q_OBJECT
public:
    explicit DiskManagerEngine(QObject* parent = nullptr);
    // Waits for its workers, which never wait for the main thread.
    ~DiskManagerEngine() override;

    const VolumeObjList& allVolumeArr() const { return m_allVolumeArr; }
    bool isScanV() const { return m_isScanV.load(); }
    void setScanV(bool scanning) { m_isScanV.store(scanning); }

    // Starts a listing unless one is running: the list is emptied at once (listingStarted) and
    // filled when the worker is done (listingFinished). Answers whether a listing started.
    bool getallVolumes();

    // The operations run on a worker, so the main thread never waits for the disk tool; their
    // signals follow on the main thread when the commands returned. A rename that succeeded has
    // given the record its new name by then.
    void formatVolume(const VolumeObjRef& volume, const QString& name, const QString& type);
    void renameVolume(const VolumeObjRef& volume, const QString& editedText);
    void ejectVolume(const VolumeObjRef& volume);
    // Unmounts by force and ejects (after the user agreed that the holder may lose data).
    void forceEjectVolume(const VolumeObjRef& volume);

    // The listing's steps, run on the calling thread.
    static VolumeObjList listVolumes();
    // A survey given here keeps the info it reads, so addDrives does not ask for it again.
    static void getVolumeAllObjWithVolumeName(const QString& bsdName, VolumeObjList& list,
                                              DriveSurvey* survey = nullptr);
    // Gives each record the drive it lives on, so its row and its format confirmation can name it.
    static void addDrives(VolumeObjList& list, DriveSurvey& survey);
    // Appends the record for a volume's info dictionary unless the list has it already or the
    // volume is not listed (no name, or "EFI").
    static void addVolumeFromInfo(const QVariantMap& info, VolumeObjList& list);
    // A record from the disk tool's info dictionary.
    static VolumeObjRef volumeFromInfo(const QVariantMap& info);
    static QString byteToSizeWithByte(std::int64_t bytes);

Q_SIGNALS:
    void listingStarted();
    void listingFinished();
    void formatFinished(const VolumeOperations::Outcome& outcome);
    void renameFinished(const VolumeObjRef& volume, const QString& editedText,
                        const VolumeOperations::Outcome& outcome);
    void ejectFinished(const VolumeObjRef& volume, const VolumeOperations::Outcome& outcome);

private:
    void startEject(const VolumeObjRef& volume, bool force);

    VolumeObjList m_allVolumeArr;
    std::atomic<bool> m_isScanV{false};
    // Which listing is the newest; an older one's list is dropped.
    unsigned m_listingGeneration = 0;
    // Workers still running; shared so a worker can count itself out after the engine asked.
    std::shared_ptr<std::atomic<int>> m_workers = std::make_shared<std::atomic<int>>(0);
};
