#pragma once

#include "filecopy/FileNode.h"

#include <QList>
#include <QSet>
#include <QString>

#include <atomic>
#include <cstdint>

// What of a selection the destination volume cannot store, found before the copy starts: files
// larger than the file system takes (4 GiB and more on FAT), names with characters it refuses
// (':' and others on FAT and ExFAT), and names that differ only in letter case from another in
// the same folder on a volume that folds case. The selection is walked as the copy will place
// it (the ticked children of a half-selected top-level folder land in the copy folder itself),
// and the items inside a wholly ticked folder are read from the disk.
//
// Items found are meant to be left out of the copy (DoCopyFiles::setSkippedPaths); an item
// left out takes everything in it along.
class DestinationCheck {
public:
    enum class Problem { TooLarge, RefusedName, CaseClash };

    struct Item {
        QString path; // the source item, a Mac path
        Problem problem;
        std::uint64_t size = 0; // for TooLarge
        // One line for the person: the item's name and why it cannot go.
        QString text() const;
    };

    // What a destination file system refuses.
    struct Rules {
        std::int64_t maxFileSize = -1; // bytes; -1 for no limit of note
        QString refusedChars;          // characters no name may hold
        bool foldsCase = false;        // names that differ only in case are one name
        QString fileSystemName;        // for the texts: "FAT32", "ExFAT", ...

        // The rules for a file-system type as the platform names it ("msdos", "exfat", "hfs",
        // "apfs", ...); caseSensitive tells the case-sensitive HFS+ and APFS apart.
        static Rules forFileSystem(const QString& type, bool caseSensitive);
        // Whether the rules can find anything inside a wholly ticked folder copied from a source
        // that folds case (or not) itself.
        bool reachInside(bool sourceFoldsCase) const {
            return maxFileSize >= 0 || !refusedChars.isEmpty() || (foldsCase && !sourceFoldsCase);
        }
    };

    // The rules of the volume at a Mac path (a mount path).
    static Rules rulesForVolume(const QString& volumePath);
    // Whether the volume holding a Mac path folds case.
    static bool foldsCase(const QString& path);

    // Walks the top-level array with the rules; answers what will not fit, in the copy's order.
    // A stop flag set from elsewhere ends the walk early (the answer is then incomplete).
    static QList<Item> check(const FileNodeList& top, const Rules& rules, bool sourceFoldsCase,
                             const std::atomic<bool>* stop = nullptr);

    static QSet<QString> pathsOf(const QList<Item>& items);
};
