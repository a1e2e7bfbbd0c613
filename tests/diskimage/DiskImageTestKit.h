#pragma once

#include "EmulatedMac.h"
#include "diskimage/MakeDmg.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

// What the image tests share: a small Mac with a source and a destination volume, and a
// recorder of everything the builder tells its owner.
namespace DiskImageTestKit {

// 10.15.7 with /Volumes/SRC (files and folders of known content), /Volumes/DEST (room for
// images) and /Volumes/TINY (a 64 MB stick).
std::unique_ptr<EmulatedMac> machine();

// A name that a shell would take apart: quotes, a command substitution, non-Latin letters.
QString awkwardName();

// Creates a Unix socket at a host path: an item no copy and no archiver can read.
bool makeSocket(const QString& hostPath);

// The files and folders of a tree as "relative/path" lines, sorted; folders end in "/".
QStringList treeListing(const QString& hostFolder);

// Where two trees differ in their entries or in the bytes of a file ("path: bytes differ");
// times are not compared, as images and archives keep whole seconds.
QStringList contentDifferences(const QString& hostA, const QString& hostB);

struct Recorder : MakeDmgDelegate {
    QList<float> progress;
    QStringList texts;
    QList<QPair<qint64, qint64>> bytes; // done, to do
    std::optional<MakeDmgFailure> failure;
    bool stopped = false;
    int beginCount = 0;
    // Handed back on beginToCopyDmg, as the owner does.
    MakeDmg* builder = nullptr;
    QStringList copyPaths;

    void copyFileToDmgWithFileName(const QString& text, float value) override;
    void makeDmgFailWithError(const MakeDmgFailure& f) override { failure = f; }
    void beginToCopyDmg() override;
    void makeDmgDidStop() override { stopped = true; }
    void makeDmgBytes(std::int64_t done, std::int64_t toDo) override { bytes.append({done, toDo}); }

    // Becomes `b`'s delegate; the image run copies `paths` once it is mounted.
    void attach(MakeDmg& b, const QStringList& paths = {}) {
        builder = &b;
        copyPaths = paths;
        b.setMakeDmgDelegate(this);
    }
    bool ended() const {
        return failure.has_value() || stopped || (!progress.isEmpty() && progress.last() >= 100);
    }
};

} // namespace DiskImageTestKit
