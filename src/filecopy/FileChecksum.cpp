#include "filecopy/FileChecksum.h"

#include "platform/PastCacheFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include <xxhash.h>

struct FileChecksum::State {
    XXH3_state_t* hash = XXH3_createState();
    ~State() { XXH3_freeState(hash); }
};

FileChecksum::FileChecksum() : d(std::make_unique<State>()) {
    reset();
}

FileChecksum::~FileChecksum() = default;

void FileChecksum::reset() {
    XXH3_128bits_reset(d->hash);
}

void FileChecksum::update(const void* data, std::size_t size) {
    XXH3_128bits_update(d->hash, data, size);
}

QString FileChecksum::hex() const {
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(d->hash));
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(canonical.digest), 16).toHex());
}

std::optional<QString> FileChecksum::ofFile(const QString& hostPath, bool pastCache,
                                            const std::atomic<bool>* stop,
                                            const std::function<void(std::int64_t)>& progress,
                                            QString* error) {
    QString why;
    const int fd = pastCache
                       ? openPastCache(hostPath, &why)
                       : ::open(QFile::encodeName(hostPath).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        if (error)
            *error = why.isEmpty() ? QString::fromLocal8Bit(std::strerror(errno)) : why;
        return std::nullopt;
    }
    FileChecksum sum;
    // One buffer a thread, kept: a fresh one a file would cost more than reading a small file.
    constexpr std::size_t kBufferSize = std::size_t(1) << 20;
    thread_local const std::unique_ptr<char[]> buffer(new char[kBufferSize]);
    for (;;) {
        if (stop && stop->load()) {
            ::close(fd);
            if (error)
                *error = QString::fromLocal8Bit(std::strerror(ECANCELED));
            return std::nullopt;
        }
        const ssize_t got = ::read(fd, buffer.get(), kBufferSize);
        if (got == 0)
            break;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            const int failure = errno;
            ::close(fd);
            if (error)
                *error = QString::fromLocal8Bit(std::strerror(failure));
            return std::nullopt;
        }
        sum.update(buffer.get(), std::size_t(got));
        if (progress)
            progress(got);
    }
    ::close(fd);
    return sum.hex();
}
