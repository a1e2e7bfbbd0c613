#pragma once

#include <QString>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

// The XXH3 128-bit checksum of a file's data, as `xxhsum -H2` prints it: 32 lower-case hex
// digits, most significant byte first. Fed in pieces as the data passes by, or read from a file.
class FileChecksum {
public:
    FileChecksum();
    ~FileChecksum();
    FileChecksum(const FileChecksum&) = delete;
    FileChecksum& operator=(const FileChecksum&) = delete;

    // Starts over for another file.
    void reset();
    void update(const void* data, std::size_t size);
    // The checksum of everything given since the last reset.
    QString hex() const;

    // Reads a whole file (a host path) and answers its checksum. pastCache: read what the drive
    // holds rather than the system's cache of it. progress (when given) hears of the bytes read
    // as they come, stop (when given and set) ends the read early with no answer. No answer
    // either when the file cannot be read; error then says why.
    static std::optional<QString> ofFile(const QString& hostPath, bool pastCache,
                                         const std::atomic<bool>* stop = nullptr,
                                         const std::function<void(std::int64_t bytes)>& progress = {},
                                         QString* error = nullptr);

private:
    struct State;
    std::unique_ptr<State> d;
};
