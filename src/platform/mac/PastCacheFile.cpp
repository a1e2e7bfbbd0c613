#include "platform/PastCacheFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

void flushVolumeOf(const QString& hostPath) {
    ::sync();
    const int fd = ::open(QFile::encodeName(hostPath).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    (void)::fcntl(fd, F_FULLFSYNC);
    ::close(fd);
}

int openPastCache(const QString& hostPath, QString* error) {
    const int fd = ::open(QFile::encodeName(hostPath).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        if (error)
            *error = QString::fromLocal8Bit(std::strerror(errno));
        return -1;
    }
    // Reads of this descriptor bypass the unified buffer cache.
    (void)::fcntl(fd, F_NOCACHE, 1);
    (void)::fcntl(fd, F_RDAHEAD, 1);
    return fd;
}
