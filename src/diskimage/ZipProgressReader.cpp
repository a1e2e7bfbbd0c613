#include "diskimage/ZipProgressReader.h"

namespace {

// The line without the blanks zip puts before it.
QByteArrayView withoutIndent(QByteArrayView line) {
    qsizetype i = 0;
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t'))
        ++i;
    return line.sliced(i);
}

} // namespace

std::uint64_t ZipProgressReader::feed(QByteArrayView bytes) {
    std::uint64_t completed = 0;
    while (!bytes.isEmpty()) {
        const qsizetype newline = bytes.indexOf('\n');
        const QByteArrayView piece = newline < 0 ? bytes : bytes.first(newline);
        const qsizetype room = kLineHead - m_line.size();
        if (room > 0)
            m_line.append(piece.first(qMin(room, piece.size())));
        if (newline < 0)
            break;
        completed += endLine();
        bytes = bytes.sliced(newline + 1);
    }
    return completed;
}

QByteArrayList ZipProgressReader::takeAdded() {
    QByteArrayList taken;
    taken.swap(m_added);
    return taken;
}

QByteArray ZipProgressReader::storedPath(QByteArrayView entryLine) {
    QByteArrayView path = entryLine;
    for (const char* verb : {"adding: ", "updating: "}) {
        if (path.startsWith(verb)) {
            path = path.sliced(qstrlen(verb));
            break;
        }
    }
    const qsizetype open = path.lastIndexOf(" (");
    if (open >= 0 && path.endsWith(')'))
        path.truncate(open);
    return path.toByteArray();
}

std::uint64_t ZipProgressReader::finish() {
    return m_line.isEmpty() ? 0 : endLine();
}

std::uint64_t ZipProgressReader::endLine() {
    QByteArrayView line = withoutIndent(m_line);
    if (line.endsWith('\r'))
        line.chop(1);
    std::uint64_t completed = 0;
    if (line.startsWith("adding: ") || line.startsWith("updating: ")) {
        m_lastEntry = line.toByteArray();
        m_added.append(storedPath(line));
        ++m_addedCount;
        completed = 1;
    } else if (line.startsWith("zip warning: name not matched: ") ||
               line.startsWith("zip warning: could not open for reading: ")) {
        ++m_missing;
    }
    m_line.clear();
    return completed;
}
