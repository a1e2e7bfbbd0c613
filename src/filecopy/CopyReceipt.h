#pragma once

#include <QFile>
#include <QHash>
#include <QString>
#include <QStringList>

// "Tavrill receipt.txt" in a copy's dated folder: what the copy holds, in the tagged form
// `xxhsum -c` reads, so that anyone can check the copy later with that tool alone.
//
//   # Tavrill receipt
//   # Date: 2026-05-06 07:08:09 +0200
//   ...
//   XXH128 (Photos/a.jpg) = 6bba86c7e069f56d5a10b435f1c8e49c
//   # Left out: ...
//
// Lines starting with '#' are comments (the header, what was left out and why, failures, the
// verify's result); xxhsum 0.8.2 and later pass over them, 0.8.1 counts them as "improperly
// formatted" and checks the rest all the same. Paths are relative to the receipt and written as
// they are (spaces, parentheses and backslashes included); a name with a newline is written as
// xxhsum 0.8.2 and later escape it (the line starts with '\', the name holds "\n" and "\\"),
// which 0.8.1 cannot read.
//
// The receipt is written as the copy goes, one line at a time and flushed, so that a copy that
// stops has one too. A file copied again (a Resume) gets its new line in place of the old one
// when the receipt is finished.
class CopyReceipt {
public:
    static QString fileName(); // "Tavrill receipt.txt"
    // One file's line, without the line end.
    static QString fileLine(const QString& relativePath, const QString& checksum);

    // Starts a new receipt in the folder (a host path) with the header's comment lines.
    bool create(const QString& folderHost, const QStringList& header, QString* error = nullptr);
    bool isOpen() const { return m_file.isOpen(); }
    // Adds or replaces a file's line.
    void addFile(const QString& relativePath, const QString& checksum);
    // Adds "# <text>" (a line end in the text becomes a space).
    void addComment(const QString& text);
    // Writes the receipt again, whole, when a line was replaced; keeps it open for more lines.
    bool finish();
    // Writes the whole receipt into the folder (a host path) and goes on there: the copy's
    // volume came back under another mount point, or the file was lost with the drive.
    bool moveTo(const QString& folderHost);
    // The relative paths with a line, in the order they came.
    QStringList files() const { return m_order; }
    // The checksum a file's line holds, or an empty string.
    QString checksumOf(const QString& relativePath) const { return m_sums.value(relativePath); }

private:
    void append(const QString& line);

    QFile m_file;
    QStringList m_lines;
    QStringList m_order;
    QHash<QString, QString> m_sums;
    QHash<QString, qsizetype> m_lineOf; // index in m_lines
    bool m_stale = false;
};
