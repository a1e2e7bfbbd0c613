#include "core/ConsoleLog.h"

#include <QString>
#include <QtGlobal>

#include <cstdarg>

void QvConsoleLog(const char* format, ...) {
    if (!format)
        return;
    va_list args;
    va_start(args, format);
    const QString text = QString::vasprintf(format, args);
    va_end(args);
    qInfo("%s", qUtf8Printable(text));
}
