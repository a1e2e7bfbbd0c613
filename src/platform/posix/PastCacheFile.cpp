#include "platform/PastCacheFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

void flushVolumeOf(const QString& hostPath) {
    const int fd = ::open(QFile::encodeName(hostPath).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    (void)::syncfs(fd);
    ::close(fd);
}

int openPastCache(const QString& hostPath, QString* error) {
    const int fd = ::open(QFile::encodeName(hostPath).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        if (error)
            *error = QString::fromLocal8Bit(std::strerror(errno));
        return -1;
    }
    // Only clean pages go: a page still dirty (written after flushVolumeOf) is written out first.
    (void)::sync_file_range(fd, 0, 0,
                            SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
    (void)::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    (void)::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    return fd;
}
