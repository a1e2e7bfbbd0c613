#include "core/CommandLine.h"

#include "core/ConsoleLog.h"
#include "core/QvLog.h"

#include <QList>

QByteArray QvShellEscapeInQuotes(const QByteArray& text) {
    QByteArray out;
    out.reserve(text.size() + 8);
    for (const char c : text) {
        if (c == '\\' || c == '"' || c == '$' || c == '`')
            out.append('\\');
        out.append(c);
    }
    return out;
}

QByteArray QvShellBareArgument(const QByteArray& text) {
    // An empty argument would vanish from the line without its quotes.
    if (text.isEmpty())
        return "\"\"";
    for (const char c : text) {
        const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                          c == '/' || c == '.' || c == '_' || c == '-' || c == ':';
        if (!safe)
            return '"' + QvShellEscapeInQuotes(text) + '"';
    }
    return text;
}

QByteArray QvFormatCommand(std::size_t bufferSize, const char* format,
                           std::initializer_list<QByteArray> args) {
    if (!format)
        return QByteArray();
    QByteArray line("");
    bool inQuotes = false;
    auto next = args.begin();
    for (const char* p = format; *p; ++p) {
        if (*p == '"') {
            inQuotes = !inQuotes;
            line.append('"');
        } else if (*p == '%' && p[1] == '%') {
            line.append('%');
            ++p;
        } else if (*p == '%' && p[1] == 's') {
            const QByteArray arg = next != args.end() ? *next++ : QByteArray("(null)");
            line.append(inQuotes ? QvShellEscapeInQuotes(arg) : QvShellBareArgument(arg));
            ++p;
        } else {
            line.append(*p);
        }
    }
    return QvFitsBuffer(bufferSize, line) ? line : QByteArray();
}

bool QvFitsBuffer(std::size_t bufferSize, const QByteArray& line) {
    if (static_cast<std::size_t>(line.size()) + 1 <= bufferSize)
        return true;
    const QByteArray shown = line.size() > 160 ? line.left(160) + "..." : line;
    QvConsoleLog("command line too long for its %zu-byte buffer: %s", bufferSize, shown.constData());
    QvLog("command line too long for its %zu-byte buffer: %s", bufferSize, shown.constData());
    return false;
}

QByteArray QvFormatCommand(std::size_t bufferSize, const char* format, std::initializer_list<QString> args) {
    QList<QByteArray> utf8;
    for (const QString& a : args)
        utf8.append(a.toUtf8());
    switch (utf8.size()) {
    case 0:
        return QvFormatCommand(bufferSize, format, std::initializer_list<QByteArray>{});
    case 1:
        return QvFormatCommand(bufferSize, format, {utf8[0]});
    case 2:
        return QvFormatCommand(bufferSize, format, {utf8[0], utf8[1]});
    case 3:
        return QvFormatCommand(bufferSize, format, {utf8[0], utf8[1], utf8[2]});
    default:
        return QvFormatCommand(bufferSize, format, {utf8[0], utf8[1], utf8[2], utf8[3]});
    }
}
