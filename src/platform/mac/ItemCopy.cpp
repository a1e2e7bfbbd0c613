#include "platform/ItemCopy.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>

#include <cerrno>
#include <copyfile.h>
#include <cstring>
#include <sys/stat.h>

// macOS: copyfile(3) copies data, permissions, times, extended attributes and access lists,
// walks folders itself and clones the data on volumes that can (APFS). COPYFILE_EXCL makes an
// existing destination an error, like the file manager's item copy. The volume's own driver
// refuses what its file system cannot store.

namespace {

struct Progress {
    const ItemCopyControl* control = nullptr;
    bool aborted = false;
    bool cancelled = false;
    // The first entry that failed, and why; the walk goes on past it.
    QByteArray failedSource;
    int failure = 0;
    // Files whose data could not be copied whole: no copies of their sources.
    QList<QByteArray> cutShort;
    ItemCopyProgress done;
    std::int64_t finishedBytes = 0; // data of the files complete
    std::int64_t currentBytes = 0;  // data of the file under way
    bool begun = false;             // the entry under way is a regular file the caller heard of

    void tell() {
        done.bytes = finishedBytes + currentBytes;
        if (control->progress)
            control->progress(done);
    }
    // A file is complete; a cloned one sent no data progress, so its size counts now.
    void fileDone(const char* source) {
        struct stat st;
        if (currentBytes == 0 && source && ::lstat(source, &st) == 0 && S_ISREG(st.st_mode))
            currentBytes = st.st_size;
        finishedBytes += currentBytes;
        currentBytes = 0;
        ++done.files;
        tell();
    }
};

// copyfile's status callback, installed on every copy: leaves out the entries the caller skips,
// follows the data, stops the walk (and the data of the file being copied) once the caller
// aborts, starts no further entry once the caller cancels, and takes note of an entry that
// fails. Without a callback, or when the callback answers COPYFILE_CONTINUE to an error,
// copyfile skips the entry and still reports success for the whole walk, so a failure is only
// known from here.
int status(int what, int stage, copyfile_state_t state, const char* source, const char* destination,
           void* context) {
    const int failure = errno;
    auto* progress = static_cast<Progress*>(context);
    const ItemCopyControl& control = *progress->control;
    if (control.abort && control.abort->load()) {
        progress->aborted = true;
        return COPYFILE_QUIT;
    }
    if (stage == COPYFILE_ERR) {
        if (progress->failedSource.isEmpty()) {
            progress->failedSource = source ? QByteArray(source) : QByteArray("?");
            progress->failure = failure != 0 ? failure : EIO;
        }
        if (what == COPYFILE_COPY_DATA && destination)
            progress->cutShort << QByteArray(destination);
        return COPYFILE_CONTINUE;
    }
    if (what == COPYFILE_COPY_DATA && stage == COPYFILE_PROGRESS) {
        off_t copied = 0;
        if (::copyfile_state_get(state, COPYFILE_STATE_COPIED, &copied) == 0)
            progress->currentBytes = copied;
        progress->tell();
        return COPYFILE_CONTINUE;
    }
    if (stage == COPYFILE_FINISH && what == COPYFILE_RECURSE_FILE) {
        // copyfile moves the data itself: none of it passed through a buffer of ours.
        if (control.fileEnds && progress->begun)
            control.fileEnds(false);
        progress->begun = false;
        progress->fileDone(source);
        return COPYFILE_CONTINUE;
    }
    if (stage == COPYFILE_START && (what == COPYFILE_RECURSE_FILE || what == COPYFILE_RECURSE_DIR) &&
        control.cancel && control.cancel->load()) {
        progress->cancelled = true;
        return COPYFILE_QUIT;
    }
    if (stage == COPYFILE_START && (what == COPYFILE_RECURSE_FILE || what == COPYFILE_RECURSE_DIR) &&
        control.skip && source && control.skip(source))
        return COPYFILE_SKIP;
    if (stage == COPYFILE_START && what == COPYFILE_RECURSE_FILE && source && destination) {
        struct stat st;
        progress->begun = ::lstat(source, &st) == 0 && S_ISREG(st.st_mode);
        if (progress->begun && control.fileBegins)
            control.fileBegins(source, destination);
    }
    return COPYFILE_CONTINUE;
}

} // namespace

bool copyItem(const QString& sourceHostPath, const QString& destinationHostPath, QString* error,
              const ItemCopyControl& control) {
    const QByteArray source = QFile::encodeName(sourceHostPath);
    const QByteArray destination = QFile::encodeName(destinationHostPath);
    const copyfile_flags_t flags =
        COPYFILE_ALL | COPYFILE_RECURSIVE | COPYFILE_EXCL | COPYFILE_NOFOLLOW_SRC | COPYFILE_CLONE;
    Progress progress;
    progress.control = &control;
    copyfile_state_t state = ::copyfile_state_alloc();
    ::copyfile_state_set(state, COPYFILE_STATE_STATUS_CB, reinterpret_cast<const void*>(&status));
    ::copyfile_state_set(state, COPYFILE_STATE_STATUS_CTX, &progress);
    const int result = ::copyfile(source.constData(), destination.constData(), state, flags);
    const int failure = errno;
    ::copyfile_state_free(state);
    for (const QByteArray& file : progress.cutShort)
        QFile::remove(QFile::decodeName(file));
    if (result == 0 && !progress.aborted && !progress.cancelled && progress.failedSource.isEmpty()) {
        if (progress.done.files == 0 && !QFileInfo(sourceHostPath).isDir()) {
            // A single file is no walk: the callback heard nothing of it.
            if (QFileInfo(sourceHostPath).isFile() && !QFileInfo(sourceHostPath).isSymLink()) {
                if (control.fileBegins)
                    control.fileBegins(source.toStdString(), destination.toStdString());
                if (control.fileEnds)
                    control.fileEnds(false);
            }
            progress.fileDone(source.constData());
        }
        return true;
    }
    if (progress.aborted && QFileInfo(destinationHostPath).isFile())
        QFile::remove(destinationHostPath); // a file cut short is no copy of its source
    if (error) {
        // The first failure names its own entry; a copy that failed as a whole names the item.
        const bool stopped = progress.aborted || progress.cancelled;
        const bool entryFailed = !stopped && !progress.failedSource.isEmpty();
        const QByteArray failed = entryFailed ? progress.failedSource : source;
        const int reason = stopped ? ECANCELED : entryFailed ? progress.failure : failure;
        *error =
            QString::fromUtf8(failed) + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(reason));
    }
    return false;
}

bool keepSourceAttributes(const QString& sourceHostPath, const QString& destinationHostPath) {
    return ::copyfile(QFile::encodeName(sourceHostPath).constData(),
                      QFile::encodeName(destinationHostPath).constData(), nullptr,
                      COPYFILE_STAT | COPYFILE_NOFOLLOW) == 0;
}

bool makeFolderPath(const QString& hostPath, QString* error) {
    if (QDir().mkpath(hostPath) && QFileInfo(hostPath).isDir())
        return true;
    if (error)
        *error = hostPath + QStringLiteral(": cannot be made");
    return false;
}
