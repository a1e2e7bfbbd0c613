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
    // The data goes to the drive itself (not only to its own cache), then reads of this
    // descriptor bypass the unified buffer cache.
    if (::fcntl(fd, F_FULLFSYNC) != 0)
        (void)::fsync(fd);
    (void)::fcntl(fd, F_NOCACHE, 1);
    (void)::fcntl(fd, F_RDAHEAD, 1);
    return fd;
}
