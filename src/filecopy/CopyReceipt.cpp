#include "filecopy/CopyReceipt.h"

#include <QSaveFile>

QString CopyReceipt::fileName() {
    return QStringLiteral("Tavrill receipt.txt");
}

QString CopyReceipt::fileLine(const QString& relativePath, const QString& checksum) {
    QString name = relativePath;
    // Only a newline needs the escaped form; a backslash alone reads literally in every version.
    const bool escaped = name.contains(QLatin1Char('\n'));
    if (escaped) {
        name.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
        name.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    }
    return (escaped ? QStringLiteral("\\") : QString()) +
           QStringLiteral("XXH128 (%1) = %2").arg(name, checksum);
}

bool CopyReceipt::create(const QString& folderHost, const QStringList& header, QString* error) {
    m_file.close();
    m_lines.clear();
    m_order.clear();
    m_sums.clear();
    m_lineOf.clear();
    m_stale = false;
    m_file.setFileName(folderHost + QLatin1Char('/') + fileName());
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        if (error)
            *error = m_file.errorString();
        return false;
    }
    for (const QString& line : header)
        addComment(line);
    return true;
}

void CopyReceipt::addFile(const QString& relativePath, const QString& checksum) {
    const QString line = fileLine(relativePath, checksum);
    m_sums.insert(relativePath, checksum);
    if (const auto at = m_lineOf.constFind(relativePath); at != m_lineOf.constEnd()) {
        m_lines[*at] = line;
        m_stale = true;
        return;
    }
    m_order << relativePath;
    m_lineOf.insert(relativePath, m_lines.size());
    append(line);
}

void CopyReceipt::addComment(const QString& text) {
    QString flat = text;
    flat.replace(QLatin1Char('\n'), QLatin1Char(' '));
    append(QStringLiteral("# ") + flat);
}

void CopyReceipt::append(const QString& line) {
    m_lines << line;
    if (!m_file.isOpen())
        return;
    m_file.write(line.toUtf8() + '\n');
    m_file.flush();
}

bool CopyReceipt::moveTo(const QString& folderHost) {
    m_file.close();
    m_file.setFileName(folderHost + QLatin1Char('/') + fileName());
    m_stale = true;
    return finish();
}

bool CopyReceipt::finish() {
    if (!m_stale || m_file.fileName().isEmpty())
        return m_file.isOpen();
    const QString path = m_file.fileName();
    m_file.close();
    QSaveFile whole(path);
    bool ok = whole.open(QIODevice::WriteOnly);
    if (ok) {
        for (const QString& line : m_lines)
            whole.write(line.toUtf8() + '\n');
        ok = whole.commit();
    }
    m_file.open(QIODevice::WriteOnly | QIODevice::Append);
    m_stale = !ok;
    return ok;
}
