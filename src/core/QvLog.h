#pragma once

// The diagnostic log of disk operations: one process-wide file, /tmp/Pellory.txt on the
// machine, opened for appending. Each line is "YYYY-MM-DD HH:MM:SS  message\n", flushed at once.
int QvInitLog();
int QvUninitLog();
int QvLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
