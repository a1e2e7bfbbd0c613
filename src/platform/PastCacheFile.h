#pragma once

#include <QString>

// Reading what the drive holds, not what the system's cache remembers of it.

// Writes out everything written to the volume that holds a host path and waits until the drive
// has it: Linux syncfs(2); a Mac sync(2), then F_FULLFSYNC, which empties the drive's own cache.
// Once, before the files written are read back.
void flushVolumeOf(const QString& hostPath);

// Opens a file (a host path) for reading from the drive: Linux drops the file's cached pages,
// which flushVolumeOf made clean (posix_fadvise(POSIX_FADV_DONTNEED)); a Mac turns the cache off
// for the descriptor (F_NOCACHE). Answers an open descriptor for reading, which the caller
// closes; -1 when the file cannot be opened, with error (when given) saying why.
int openPastCache(const QString& hostPath, QString* error = nullptr);
