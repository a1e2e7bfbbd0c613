#pragma once

#include <QString>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

// Copies one item, as a file manager's item copy does: a file with its data, a folder with
// everything in it, a symbolic link as a link. The destination must not exist yet; the copy of
// a folder goes on past an entry that fails and reports the first failure. What is copied
// before a failure stays.
//
// Kept on every system: data, permission bits, modification and access times, links as links,
// and the owner where the process may set it. A Mac also keeps extended attributes and access
// lists, and clones the data where the volume allows.
//
// Paths are host paths. Returns true on success; otherwise error (when given) receives a
// description naming the item that failed.

// How far a copy has come: file data written (of the file under way too) and the entries other
// than folders that are complete.
struct ItemCopyProgress {
    std::int64_t bytes = 0;
    std::int64_t files = 0;
};

// What a caller may ask of a copy besides the item itself.
struct ItemCopyControl {
    // Set (from any thread) to stop the copy: the file being written is cut short and removed,
    // nothing further starts, and the copy fails with "Operation canceled".
    const std::atomic<bool>* abort = nullptr;
    // Set (from any thread) to stop the copy gently: the file being written is finished, no
    // further entry starts, and the copy fails with "Operation canceled" when anything was
    // left out (a file alone, once begun, is simply finished).
    const std::atomic<bool>* cancel = nullptr;
    // Told on the copying thread as the data moves, in pieces (of at most a few megabytes, or a
    // twentieth of a second on a slow volume) also in the middle of a large file, and after
    // every entry: the totals since this copy began.
    std::function<void(const ItemCopyProgress&)> progress;
    // Entries inside the item (host paths of the source) that are left out of the copy.
    std::function<bool(const std::string& sourceHostPath)> skip;
    // Told on the copying thread as each regular file's copy begins (host paths of the source
    // and of its copy), then of the file's data in order as far as it passes through the copy's
    // own buffers (data the kernel copies or clones does not), then once the file is complete,
    // with whether every byte of it went through `data`. A file that fails hears no end.
    std::function<void(const std::string& sourceHostPath, const std::string& destinationHostPath)> fileBegins;
    std::function<void(const char* data, std::size_t size)> data;
    std::function<void(bool seenWhole)> fileEnds;
};

bool copyItem(const QString& sourceHostPath, const QString& destinationHostPath, QString* error,
              const ItemCopyControl& control = {});

// Gives an existing copy (a folder, after entries were added to it) the permission bits and the
// modification and access times of its source, as the item copy does. Host paths.
bool keepSourceAttributes(const QString& sourceHostPath, const QString& destinationHostPath);

// Makes a folder with its missing parents (a host path), as the volume that will hold it
// allows. Returns true when the folder exists afterwards; otherwise error receives the reason.
bool makeFolderPath(const QString& hostPath, QString* error);
