#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QByteArrayView>

#include <cstdint>

// Reads what `zip -r` prints on its standard output, in whatever pieces the pipe delivers it,
// and counts the entries zip reports: one "  adding: <path> (deflated 62%)" line per file or
// folder put into the archive ("updating:" when the archive existed). A line split across two
// pieces counts once, when its end arrives; several lines in one piece count each.
//
// It also counts the selected items zip could not take: "\tzip warning: name not matched: X"
// (the item is gone) and "\tzip warning: could not open for reading: X" (it cannot be read).
//
// Only the head of a line is kept, so text without line breaks cannot make it grow.
class ZipProgressReader {
public:
    // Takes the next piece of output; answers how many entries it completed.
    std::uint64_t feed(QByteArrayView bytes);
    // Takes a last line that ended without a line break (zip ended).
    std::uint64_t finish();

    std::uint64_t addedCount() const { return m_addedCount; }
    std::uint64_t missingCount() const { return m_missing; }
    // The last complete entry line, without its line break and leading blanks ("adding: ...").
    QByteArray lastEntry() const { return m_lastEntry; }
    // The paths zip stored for the entries completed since the last call ("Photos/a.jpg" of
    // "  adding: Photos/a.jpg (stored 0%)"), in order; taking them empties the list.
    QByteArrayList takeAdded();
    // The stored path in an entry line: without "adding: " or "updating: " and without the
    // closing " (deflated 62%)".
    static QByteArray storedPath(QByteArrayView entryLine);

    // How much of one line is kept; longer lines are cut there.
    static constexpr qsizetype kLineHead = 4096;

private:
    std::uint64_t endLine();

    QByteArray m_line;
    QByteArray m_lastEntry;
    QByteArrayList m_added;
    std::uint64_t m_addedCount = 0;
    std::uint64_t m_missing = 0;
};
