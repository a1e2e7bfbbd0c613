#include "platform/ItemCopy.h"

#include "platform/DiskArbitration.h"
#include "platform/Machine.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

// Linux: the data goes through copy_file_range (the kernel copies, or shares blocks where the
// file system can), after an attempt to clone the whole file; a file system or kernel without
// it falls back to read and write. Permissions, times and, where allowed, the owner follow the
// data. Everything works relative to open folder descriptors, so deep trees cost no path
// lookups.
//
// On an emulated Mac the host's kernel knows nothing of the emulated volumes' file systems, so
// this layer stands in for the Mac's drivers: a write into an emulated volume obeys the limits
// the volume's line in the mount table gives (a FAT volume refuses a file over 4 GiB and names
// with ':' and the other characters it cannot store) and, when the line gives a throttle, takes
// data no faster than a slow stick would.

namespace {

// What one copy carries along its walk: the first failure, what the caller asked, and the
// destination volume's limits.
struct Failure {
    std::string first; // the first failure, "<path>: <reason>"
    const ItemCopyControl* control = nullptr;
    std::int64_t maxFileSize = -1;
    QByteArray refusedNameBytes;
    // A throttled volume: bytes a second, and the bytes and time since the copy began.
    std::int64_t throttle = 0;
    std::int64_t throttledBytes = 0;
    // An emulated destination volume's mount point (host path), checked between pieces.
    std::string volumeHost;
    bool volumeGone() const { return !volumeHost.empty() && ::access(volumeHost.c_str(), F_OK) != 0; }
    std::chrono::steady_clock::time_point throttleStart = std::chrono::steady_clock::now();

    void note(const std::string& where, int error) {
        if (first.empty())
            first = where + ": " + std::strerror(error);
    }
    ItemCopyProgress done;
    // Bytes of the file under way that went through the copy's own buffers.
    std::int64_t seenBytes = 0;

    bool aborted() const { return control && control->abort && control->abort->load(); }
    bool cancelled() const { return control && control->cancel && control->cancel->load(); }
    // Whether the caller follows the data, which then moves in pieces.
    bool watched() const { return control && (control->abort || control->progress); }
    void moved(std::int64_t bytes) {
        done.bytes += bytes;
        if (control && control->progress)
            control->progress(done);
    }
    void entryDone() {
        ++done.files;
        if (control && control->progress)
            control->progress(done);
    }
    bool skipped(const std::string& source) const {
        return control && control->skip && control->skip(source);
    }
    bool refusesName(const char* name) const {
        for (const char* c = name; *c; ++c) {
            if (refusedNameBytes.contains(*c))
                return true;
        }
        return false;
    }
};

// The emulated volume's limits for a destination host path; none on a real machine.
void takeLimits(const QString& destinationHostPath, Failure& failure) {
    if (!Machine::isEmulated())
        return;
    const FileSystemInfo info = DiskArbitration::fileSystemInfoForItem(Machine::macPath(destinationHostPath));
    failure.maxFileSize = info.maxFileSize;
    failure.refusedNameBytes = info.refusedNameBytes;
    failure.throttle = info.writeBytesPerSecond;
    // The volume's mount point: once it is gone (the drive pulled out) writes fail, as they do
    // on a Mac, instead of landing in the emulator's store of unmounted volumes.
    const QString mac = Machine::macPath(destinationHostPath);
    QString mount;
    for (const QString& path : DiskArbitration::mountedLocalVolumePaths()) {
        if (path != QLatin1String("/") && (mac == path || mac.startsWith(path + QLatin1Char('/'))) &&
            path.size() > mount.size())
            mount = path;
    }
    if (!mount.isEmpty())
        failure.volumeHost = QFile::encodeName(Machine::hostPath(mount)).toStdString();
}

class Fd {
public:
    explicit Fd(int fd = -1) : m_fd(fd) {}
    ~Fd() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return m_fd; }
    bool ok() const { return m_fd >= 0; }

private:
    int m_fd;
};

// Data moves in pieces of this size when the copy can be stopped or is followed, so a stop takes
// effect soon and the caller hears of a large file as it goes.
constexpr size_t kStoppablePiece = size_t(8) << 20;

// On a throttled volume, waits until the bytes written so far are due, in short naps so that
// an abort is seen soon. Answers false when aborted meanwhile.
bool pace(Failure& failure, std::int64_t bytes) {
    if (failure.throttle <= 0)
        return true;
    failure.throttledBytes += bytes;
    const auto due = failure.throttleStart +
                     std::chrono::microseconds(failure.throttledBytes * 1000000 / failure.throttle);
    for (;;) {
        if (failure.aborted())
            return false;
        const auto now = std::chrono::steady_clock::now();
        if (now >= due)
            return true;
        std::this_thread::sleep_for(
            std::min<std::chrono::steady_clock::duration>(due - now, std::chrono::milliseconds(20)));
    }
}

bool copyDataByReadWrite(int in, int out, Failure& failure) {
    // A throttled volume takes data in pieces of about a twentieth of a second.
    const size_t piece = failure.throttle > 0
                             ? size_t(std::clamp<std::int64_t>(failure.throttle / 20, 4096, 1 << 20))
                             : size_t(1) << 20;
    std::vector<char> buffer(piece);
    for (;;) {
        if (failure.aborted()) {
            errno = ECANCELED;
            return false;
        }
        const ssize_t got = ::read(in, buffer.data(), buffer.size());
        if (got == 0)
            return true;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = ::write(out, buffer.data() + done, size_t(got - done));
            if (put < 0) {
                if (errno == EINTR)
                    continue;
                return false;
            }
            done += put;
        }
        if (failure.control && failure.control->data)
            failure.control->data(buffer.data(), size_t(got));
        failure.seenBytes += got;
        failure.moved(got);
        if (!pace(failure, got)) {
            errno = ECANCELED;
            return false;
        }
        if (failure.volumeGone()) {
            errno = ENXIO; // "Device not configured"
            return false;
        }
    }
}

bool copyData(int in, int out, std::int64_t size, Failure& failure) {
    if (failure.throttle > 0)
        return copyDataByReadWrite(in, out, failure);
#ifdef FICLONE
    if (::ioctl(out, FICLONE, in) == 0) {
        failure.moved(size);
        return true;
    }
#else
    (void)size;
#endif
    const bool stoppable = failure.watched();
    bool copiedAny = false;
    for (;;) {
        if (failure.aborted()) {
            errno = ECANCELED;
            return false;
        }
        const ssize_t n =
            ::copy_file_range(in, nullptr, out, nullptr, stoppable ? kStoppablePiece : size_t(1) << 30, 0);
        if (n > 0) {
            copiedAny = true;
            failure.moved(n);
            if (failure.volumeGone()) {
                errno = ENXIO;
                return false;
            }
            continue;
        }
        if (n == 0)
            return true;
        if (errno == EINTR)
            continue;
        // No kernel support for this pair of files: copy through user space, from where the
        // kernel stopped.
        if (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP || errno == EBADF ||
            (errno == EIO && !copiedAny))
            return copyDataByReadWrite(in, out, failure);
        return false;
    }
}

void keepOwner(int dirFd, const char* name, const struct stat& st) {
    // Only a privileged process may give an item away; a refusal is expected and ignored.
    if (st.st_uid != ::geteuid() || st.st_gid != ::getegid())
        (void)::fchownat(dirFd, name, st.st_uid, st.st_gid, AT_SYMLINK_NOFOLLOW);
}

// Gives a copied file or folder, open as fd, the owner, permissions and times of its source.
void keepAttributes(int dirFd, const char* name, int fd, const struct stat& st, const std::string& where,
                    Failure& failure) {
    keepOwner(dirFd, name, st);
    if (::fchmod(fd, st.st_mode & 07777) != 0)
        failure.note(where, errno);
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    if (::futimens(fd, times) != 0)
        failure.note(where, errno);
}

void copyEntry(int srcDir, const char* srcName, int dstDir, const char* dstName, const std::string& where,
               const std::string& dstWhere, Failure& failure);

void copyFile(int srcDir, const char* srcName, int dstDir, const char* dstName, const struct stat& st,
              const std::string& where, const std::string& dstWhere, Failure& failure) {
    Fd in(::openat(srcDir, srcName, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!in.ok())
        return failure.note(where, errno);
    if (failure.maxFileSize >= 0 && std::int64_t(st.st_size) > failure.maxFileSize)
        return failure.note(where, EFBIG);
    Fd out(::openat(dstDir, dstName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!out.ok())
        return failure.note(where, errno);
    failure.seenBytes = 0;
    if (failure.control && failure.control->fileBegins)
        failure.control->fileBegins(where, dstWhere);
    if (!copyData(in.get(), out.get(), std::int64_t(st.st_size), failure)) {
        const int error = errno;
        // A file cut short by a stop is no copy of its source.
        if (error == ECANCELED)
            (void)::unlinkat(dstDir, dstName, 0);
        return failure.note(where, error);
    }
    keepAttributes(dstDir, dstName, out.get(), st, where, failure);
    if (failure.control && failure.control->fileEnds)
        failure.control->fileEnds(failure.seenBytes == std::int64_t(st.st_size));
    failure.entryDone();
}

void copyLink(int srcDir, const char* srcName, int dstDir, const char* dstName, const struct stat& st,
              const std::string& where, Failure& failure) {
    std::vector<char> target(size_t(st.st_size > 0 ? st.st_size : 255) + 1);
    const ssize_t n = ::readlinkat(srcDir, srcName, target.data(), target.size() - 1);
    if (n < 0)
        return failure.note(where, errno);
    target[size_t(n)] = 0;
    if (::symlinkat(target.data(), dstDir, dstName) != 0)
        return failure.note(where, errno);
    keepOwner(dstDir, dstName, st);
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    (void)::utimensat(dstDir, dstName, times, AT_SYMLINK_NOFOLLOW); // not every file system keeps link times
    failure.entryDone();
}

void copyFolder(int srcDir, const char* srcName, int dstDir, const char* dstName, const struct stat& st,
                const std::string& where, const std::string& dstWhere, Failure& failure) {
    if (::mkdirat(dstDir, dstName, S_IRWXU) != 0)
        return failure.note(where, errno);
    Fd src(::openat(srcDir, srcName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    Fd dst(::openat(dstDir, dstName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!src.ok() || !dst.ok())
        return failure.note(where, errno);
    DIR* listing = ::fdopendir(::dup(src.get()));
    if (!listing)
        return failure.note(where, errno);
    for (;;) {
        errno = 0;
        const dirent* d = ::readdir(listing);
        if (!d) {
            if (errno != 0)
                failure.note(where, errno);
            break;
        }
        const char* name = d->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        // A stop, gentle or not, starts no further entry.
        if (failure.aborted() || failure.cancelled()) {
            failure.note(where, ECANCELED);
            break;
        }
        const std::string path = where + "/" + name;
        if (failure.skipped(path))
            continue;
        copyEntry(src.get(), name, dst.get(), name, path, dstWhere + "/" + name, failure);
    }
    ::closedir(listing);
    // The folder's own attributes go last: adding the entries changed its times, and a folder
    // without write permission could not have been filled.
    keepAttributes(dstDir, dstName, dst.get(), st, where, failure);
}

void copyEntry(int srcDir, const char* srcName, int dstDir, const char* dstName, const std::string& where,
               const std::string& dstWhere, Failure& failure) {
    if (failure.volumeGone())
        return failure.note(where, ENXIO);
    struct stat st;
    if (::fstatat(srcDir, srcName, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return failure.note(where, errno);
    const char* slash = std::strrchr(dstName, '/');
    if (failure.refusesName(slash ? slash + 1 : dstName))
        return failure.note(where, EINVAL);
    if (S_ISREG(st.st_mode))
        copyFile(srcDir, srcName, dstDir, dstName, st, where, dstWhere, failure);
    else if (S_ISDIR(st.st_mode))
        copyFolder(srcDir, srcName, dstDir, dstName, st, where, dstWhere, failure);
    else if (S_ISLNK(st.st_mode))
        copyLink(srcDir, srcName, dstDir, dstName, st, where, failure);
    else if (S_ISFIFO(st.st_mode)) {
        if (::mkfifoat(dstDir, dstName, st.st_mode & 07777) != 0)
            failure.note(where, errno);
        else
            failure.entryDone();
    } else {
        failure.note(where, ENOTSUP); // sockets and device nodes are not copied
    }
}

} // namespace

bool copyItem(const QString& sourceHostPath, const QString& destinationHostPath, QString* error,
              const ItemCopyControl& control) {
    const QByteArray source = QFile::encodeName(sourceHostPath);
    const QByteArray destination = QFile::encodeName(destinationHostPath);
    Failure failure;
    failure.control = &control;
    takeLimits(destinationHostPath, failure);
    copyEntry(AT_FDCWD, source.constData(), AT_FDCWD, destination.constData(), source.toStdString(),
              destination.toStdString(), failure);
    if (failure.first.empty())
        return true;
    if (error)
        *error = QString::fromStdString(failure.first);
    return false;
}

bool keepSourceAttributes(const QString& sourceHostPath, const QString& destinationHostPath) {
    struct stat st;
    const QByteArray destination = QFile::encodeName(destinationHostPath);
    if (::lstat(QFile::encodeName(sourceHostPath).constData(), &st) != 0)
        return false;
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    const bool modeKept = S_ISLNK(st.st_mode) || ::chmod(destination.constData(), st.st_mode & 07777) == 0;
    return ::utimensat(AT_FDCWD, destination.constData(), times, AT_SYMLINK_NOFOLLOW) == 0 && modeKept;
}

bool makeFolderPath(const QString& hostPath, QString* error) {
    Failure failure;
    takeLimits(hostPath, failure);
    if (!failure.refusedNameBytes.isEmpty()) {
        // Only the parts that do not exist yet are made, and each must be a name the volume takes.
        QString existing = QDir::cleanPath(hostPath);
        QStringList missing;
        while (!QFileInfo::exists(existing) && existing.size() > 1) {
            missing.prepend(QFileInfo(existing).fileName());
            existing = QFileInfo(existing).path();
        }
        for (const QString& part : missing) {
            if (failure.refusesName(QFile::encodeName(part).constData())) {
                if (error)
                    *error = hostPath + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(EINVAL));
                return false;
            }
        }
    }
    if (QDir().mkpath(hostPath) && QFileInfo(hostPath).isDir())
        return true;
    if (error)
        *error = hostPath + QStringLiteral(": cannot be made");
    return false;
}
