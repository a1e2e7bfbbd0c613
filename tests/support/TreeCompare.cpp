#include "TreeCompare.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace {

QByteArray linkTarget(const QByteArray& path) {
    std::vector<char> buffer(4096);
    const ssize_t n = ::readlink(path.constData(), buffer.data(), buffer.size());
    return n < 0 ? QByteArray() : QByteArray(buffer.data(), n);
}

void compareItem(const QString& source, const QString& copy, const QString& relative, QStringList& out) {
    struct stat a, b;
    const QByteArray sa = QFile::encodeName(source), ca = QFile::encodeName(copy);
    if (::lstat(sa.constData(), &a) != 0) {
        out << relative + QStringLiteral(": source unreadable");
        return;
    }
    if (::lstat(ca.constData(), &b) != 0) {
        out << relative + QStringLiteral(": missing in copy");
        return;
    }
    if ((a.st_mode & S_IFMT) != (b.st_mode & S_IFMT)) {
        out << relative + QStringLiteral(": type differs");
        return;
    }
    const QString name = relative.isEmpty() ? QStringLiteral(".") : relative;
    if (S_ISLNK(a.st_mode)) {
        if (linkTarget(sa) != linkTarget(ca))
            out << name + QStringLiteral(": link target differs");
        return; // link permissions and times are not kept by every file system
    }
    if ((a.st_mode & 07777) != (b.st_mode & 07777))
        out << name + QStringLiteral(": mode %1 vs %2")
                          .arg(a.st_mode & 07777, 0, 8)
                          .arg(b.st_mode & 07777, 0, 8);
    if (a.st_mtim.tv_sec != b.st_mtim.tv_sec || a.st_mtim.tv_nsec != b.st_mtim.tv_nsec)
        out << name + QStringLiteral(": modification time differs");
    if (S_ISREG(a.st_mode)) {
        if (a.st_size != b.st_size)
            out << name + QStringLiteral(": length %1 vs %2").arg(a.st_size).arg(b.st_size);
        else if (readHostFile(source) != readHostFile(copy))
            out << name + QStringLiteral(": bytes differ");
    }
    if (S_ISDIR(a.st_mode)) {
        const QDir::Filters all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
        const QStringList left = QDir(source).entryList(all, QDir::Name);
        const auto child = [&](const QString& entry) {
            return relative.isEmpty() ? entry : relative + QLatin1Char('/') + entry;
        };
        for (const QString& entry : QDir(copy).entryList(all, QDir::Name))
            if (!left.contains(entry))
                out << child(entry) + QStringLiteral(": extra in copy");
        for (const QString& entry : left)
            compareItem(source + QLatin1Char('/') + entry, copy + QLatin1Char('/') + entry, child(entry),
                        out);
    }
}

} // namespace

QStringList compareTrees(const QString& sourceHost, const QString& copyHost) {
    QStringList out;
    compareItem(sourceHost, copyHost, QString(), out);
    return out;
}

bool writeHostFile(const QString& hostPath, const QByteArray& data) {
    QDir().mkpath(QFileInfo(hostPath).absolutePath());
    QFile f(hostPath);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(data) == data.size();
}

QByteArray readHostFile(const QString& hostPath) {
    QFile f(hostPath);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool makeLink(const QByteArray& target, const QString& linkHost) {
    return ::symlink(target.constData(), QFile::encodeName(linkHost).constData()) == 0;
}

bool setModificationTime(const QString& hostPath, qint64 seconds, long nanoseconds) {
    const struct timespec times[2] = {{time_t(seconds), nanoseconds}, {time_t(seconds), nanoseconds}};
    return ::utimensat(AT_FDCWD, QFile::encodeName(hostPath).constData(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

bool setMode(const QString& hostPath, unsigned mode) {
    return ::chmod(QFile::encodeName(hostPath).constData(), mode) == 0;
}

int buildSampleTree(const QString& root) {
    QDir().mkpath(root);
    QByteArray binary(3 * 1024 * 1024 + 17, '\0');
    for (qsizetype i = 0; i < binary.size(); ++i)
        binary[i] = char((i * 131 + i / 7) & 0xff);
    writeHostFile(root + "/big.bin", binary);
    writeHostFile(root + "/plain.txt", "hello\n");
    writeHostFile(root + "/.hidden", "secret");
    writeHostFile(root + "/empty.dat", QByteArray());
    writeHostFile(root + "/tool.sh", "#!/bin/sh\necho hi\n");
    writeHostFile(root + "/docs/a/b/deep.txt", QByteArray(5000, 'd'));
    writeHostFile(root + "/docs/a/notes.md", "# notes\n");
    writeHostFile(root + "/locked/inside.txt", "in a read-only folder");
    QDir().mkpath(root + "/empty-folder");
    makeLink("plain.txt", root + "/link-relative");
    makeLink(QFile::encodeName(root + "/docs/a/notes.md"), root + "/link-absolute");
    makeLink("does/not/exist", root + "/link-dangling");
    makeLink("docs/a", root + "/link-to-folder");
    setMode(root + "/tool.sh", 0755);
    setMode(root + "/plain.txt", 0640);
    setMode(root + "/.hidden", 0600);
    setMode(root + "/docs/a/notes.md", 0444);
    // Times go last, deepest first, since adding entries changes a folder's time.
    qint64 t = 1262304000; // 2010-01-01
    for (const char* item :
         {"big.bin", "plain.txt", ".hidden", "empty.dat", "tool.sh", "docs/a/b/deep.txt", "docs/a/notes.md",
          "locked/inside.txt", "link-relative", "docs/a/b", "docs/a", "docs", "empty-folder"})
        setModificationTime(root + "/" + item, t += 86461, 123456789);
    setMode(root + "/locked", 0555);
    setModificationTime(root + "/locked", t + 5, 5);
    return 17;
}
