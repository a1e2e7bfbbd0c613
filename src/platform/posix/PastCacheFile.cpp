#include "platform/PastCacheFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

int openPastCache(const QString& hostPath, QString* error) {
    const int fd = ::open(QFile::encodeName(hostPath).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        if (error)
            *error = QString::fromLocal8Bit(std::strerror(errno));
        return -1;
    }
    // Dirty pages cannot be dropped: written out first, they are clean and go.
    (void)::fsync(fd);
    (void)::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    (void)::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    return fd;
}
