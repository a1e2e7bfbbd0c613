#include "platform/DirectoryBatchReader.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Linux and other POSIX systems: readdir gives names and, on the usual file systems, the type;
// one fstatat without following links adds the data length of each entry that is not a folder
// (a folder's data length is 0 and needs no call).

struct DirectoryBatchReader::Impl {
    DIR* dir = nullptr;
};

namespace {

DIR* openDirectory(int atFd, const char* path, int extraFlags) {
    const int fd = ::openat(atFd, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | extraFlags);
    if (fd < 0)
        return nullptr;
    DIR* dir = ::fdopendir(fd);
    if (!dir)
        ::close(fd);
    return dir;
}

DirectoryBatchReader::OpenStatus statusForErrno(int error) {
    return error == ENOTDIR ? DirectoryBatchReader::OpenStatus::NotAFolder
                            : DirectoryBatchReader::OpenStatus::Failed;
}

} // namespace

DirectoryBatchReader::DirectoryBatchReader(const QString& hostPath) : m_impl(std::make_unique<Impl>()) {
    m_impl->dir = openDirectory(AT_FDCWD, QFile::encodeName(hostPath).constData(), 0);
    m_status = m_impl->dir ? OpenStatus::Open : statusForErrno(errno);
}

DirectoryBatchReader::DirectoryBatchReader(const DirectoryBatchReader& parent, const char* name)
    : m_impl(std::make_unique<Impl>()) {
    if (!parent.m_impl->dir) {
        m_status = OpenStatus::Failed;
        return;
    }
    // O_NOFOLLOW: a link in place of the folder fails (ELOOP) instead of leading elsewhere.
    m_impl->dir = openDirectory(::dirfd(parent.m_impl->dir), name, O_NOFOLLOW);
    m_status = m_impl->dir ? OpenStatus::Open : statusForErrno(errno);
}

DirectoryBatchReader::~DirectoryBatchReader() {
    if (m_impl->dir)
        ::closedir(m_impl->dir);
}

DirectoryBatchReader::ReadResult DirectoryBatchReader::readBatch(DirectoryBatch& batch) {
    batch.count = 0;
    if (!m_impl->dir)
        return ReadResult::Error;
    const int fd = ::dirfd(m_impl->dir);
    while (batch.count < DirectoryBatch::kCapacity) {
        errno = 0;
        const dirent* d = ::readdir(m_impl->dir);
        if (!d)
            return errno == 0 ? ReadResult::NoMoreItems : ReadResult::Error;
        const char* name = d->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        const size_t length = std::strlen(name);
        if (length >= size_t(DirectoryEntry::kNameCapacity))
            continue;
        DirectoryEntry& entry = batch.entries[batch.count];
        if (d->d_type == DT_DIR) {
            entry.isDirectory = true;
            entry.isSymbolicLink = false;
            entry.dataLength = 0;
        } else {
            struct stat st;
            if (::fstatat(fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
                continue; // gone since it was listed
            entry.isDirectory = S_ISDIR(st.st_mode);
            entry.isSymbolicLink = S_ISLNK(st.st_mode);
            entry.dataLength = (S_ISREG(st.st_mode) || S_ISLNK(st.st_mode)) ? std::uint64_t(st.st_size) : 0;
        }
        std::memcpy(entry.name, name, length + 1);
        entry.nameLength = std::uint16_t(length);
        ++batch.count;
    }
    return ReadResult::Success;
}
