#pragma once

#include <QString>

// Opens a file (a host path) for reading what the drive holds, not what the system's cache
// remembers of it: what was written is flushed to the drive first, and the reads that follow
// come from the drive. Linux drops the file's cached pages (fsync, then
// posix_fadvise(POSIX_FADV_DONTNEED)); a Mac flushes and turns the cache off for the
// descriptor (F_NOCACHE).
//
// Answers an open descriptor for reading, which the caller closes; -1 when the file cannot be
// opened, with error (when given) saying why.
int openPastCache(const QString& hostPath, QString* error = nullptr);
