#include "core/QvLog.h"

#include "platform/Machine.h"

#include <QFile>
#include <QMutex>
#include <QMutexLocker>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

// One lock for the handle and for each whole line, so lines from several threads never
// interleave and a first use from two threads opens the file once.
QMutex logLock;
FILE* logFile = nullptr;

int openLocked() {
    if (logFile)
        return 0;
    const QString path = Machine::hostPath(QStringLiteral("/tmp/Pellory.txt"));
    logFile = std::fopen(QFile::encodeName(path).constData(), "a");
    return logFile ? 0 : -1;
}

} // namespace

int QvInitLog() {
    QMutexLocker lock(&logLock);
    return openLocked();
}

int QvUninitLog() {
    QMutexLocker lock(&logLock);
    if (logFile) {
        std::fclose(logFile);
        logFile = nullptr;
    }
    return 0;
}

int QvLog(const char* format, ...) {
    QMutexLocker lock(&logLock);
    if (openLocked() != 0 || !format)
        return -1;

    char stamp[128];
    std::memset(stamp, 0, sizeof stamp);
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S  ", &local);
    std::fputs(stamp, logFile);

    va_list args;
    va_start(args, format);
    std::vfprintf(logFile, format, args);
    va_end(args);

    std::fputc('\n', logFile);
    std::fflush(logFile);
    return 0;
}
