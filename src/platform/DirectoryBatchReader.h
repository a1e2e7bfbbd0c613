#pragma once

#include <QString>

#include <cstdint>
#include <memory>

// Reads a folder a batch of entries at a time, each entry with its name, its type and the length
// of its data, in one pass and without a second call per entry (on a Mac through the bulk
// attribute read; elsewhere readdir with one fstatat per non-folder entry). Symbolic links are
// never followed: a link is reported as an entry of its own with the length of its target text.
//
// Paths are host paths (see Machine::hostPath); names are the file system's bytes, UTF-8 on the
// systems Tavrill runs on.

struct DirectoryEntry {
    // Longest name the Mac file systems allow (255 UTF-16 units) in UTF-8, plus the terminator.
    static constexpr int kNameCapacity = 768;

    char name[kNameCapacity];
    std::uint16_t nameLength = 0;
    bool isDirectory = false;     // a real folder; a link to a folder is not one
    bool isSymbolicLink = false;  // the entry is a link (not followed)
    std::uint64_t dataLength = 0; // logical size of the data; 0 for folders and special files

    QString nameString() const { return QString::fromUtf8(name, nameLength); }
};

struct DirectoryBatch {
    static constexpr int kCapacity = 40;

    int count = 0;
    DirectoryEntry entries[kCapacity];
};

class DirectoryBatchReader {
public:
    enum class OpenStatus { Open, NotAFolder, Failed };
    enum class ReadResult {
        Success,     // a full batch; more may follow
        NoMoreItems, // the last batch (possibly empty): the listing is complete
        Error        // the listing broke off; the batch holds what was read before the error
    };

    // Opens the folder at a host path. A link at the end of the path is followed, as a path
    // given by the user names what the link points to.
    explicit DirectoryBatchReader(const QString& hostPath);
    // Opens the folder named by an entry of an open reader, without following a link.
    DirectoryBatchReader(const DirectoryBatchReader& parent, const char* name);
    ~DirectoryBatchReader();
    DirectoryBatchReader(const DirectoryBatchReader&) = delete;
    DirectoryBatchReader& operator=(const DirectoryBatchReader&) = delete;

    OpenStatus status() const { return m_status; }
    // Fills batch with up to DirectoryBatch::kCapacity entries ("." and ".." are never listed).
    ReadResult readBatch(DirectoryBatch& batch);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    OpenStatus m_status = OpenStatus::Failed;
};

// What the catalogue says about one item.
struct ItemInfo {
    bool exists = false;
    bool isDirectory = false;
    bool isSymbolicLink = false;
    std::uint64_t dataLength = 0; // logical size of the data; 0 for folders
};

// Reads one item's information. With followLinks false a link describes itself.
ItemInfo readItemInfo(const QString& hostPath, bool followLinks);
