#pragma once

#include "EmulatedMac.h"
#include "Wait.h"
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

// Where two trees differ in their entries, links or the bytes of a file; neither times (images and
// archives keep whole seconds) nor permission bits are compared.
QStringList contentDifferences(const QString& hostA, const QString& hostB);

// A builder and a record of everything it tells its owner.
struct Build : MakeDmgDelegate {
    QList<float> progress;
    QStringList texts;
    QList<QPair<qint64, qint64>> bytes; // done, to do
    std::optional<MakeDmgFailure> failure;
    bool stopped = false;
    int beginCount = 0;
    // Copied into the image once it is mounted, as the owner does, unless it never answers.
    QStringList copyPaths;
    bool answers = true;
    MakeDmg dmg; // last, so that it goes first while the record still stands

    explicit Build(const QStringList& paths = {}, bool answer = true) : copyPaths(paths), answers(answer) {
        dmg.setMakeDmgDelegate(this);
    }
    void copyFileToDmgWithFileName(const QString& text, float value) override {
        texts << text;
        progress << value;
    }
    void makeDmgFailWithError(const MakeDmgFailure& f) override { failure = f; }
    void beginToCopyDmg() override {
        if (++beginCount && answers)
            dmg.doCopyFilesToDmgWithDmg(copyPaths);
    }
    void makeDmgDidStop() override { stopped = true; }
    void makeDmgBytes(std::int64_t done, std::int64_t toDo) override { bytes.append({done, toDo}); }

    bool ended() const {
        return failure.has_value() || stopped || (!progress.isEmpty() && progress.last() >= 100);
    }
    bool waitForEnd(int ms = 60000) const {
        return waitUntil([this] { return ended(); }, ms);
    }
    // Forgets what was recorded, for the next run of the same builder.
    void forget() { progress = {}, texts = {}, bytes = {}, failure.reset(), stopped = false; }
};

} // namespace DiskImageTestKit
