// The emulated disk-image file: a header line, a JSON description and an archive of the
// volume's files, then zeros up to the image's capacity (a sparse file).
//
//   TAVEMU-IMAGE 1\n
//   {"volname":"V","fs":"hfs","capacity":N,"format":"UDRW"}\n
//   D <mode> <mtime> 0 <pathlen>\n<path>                 a folder
//   F <mode> <mtime> <size> <pathlen>\n<path><bytes>     a file
//   L <mode> <mtime> <targetlen> <pathlen>\n<path><target>  a symbolic link
//   E\n                                                   the end

#include "EmuTools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <filesystem>

namespace emu {

namespace {

constexpr char kMagic[] = "TAVEMU-IMAGE 1\n";

bool copyData(QFile& from, QFile& to, qint64 size) {
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    while (size > 0) {
        const qint64 n = from.read(buffer.data(), qMin<qint64>(size, buffer.size()));
        if (n <= 0)
            return false;
        if (to.write(buffer.constData(), n) != n)
            return false;
        size -= n;
    }
    return true;
}

void setTimes(const QByteArray& path, qint64 mtime, bool link) {
    struct timespec times[2];
    times[0].tv_sec = mtime;
    times[0].tv_nsec = 0;
    times[1] = times[0];
    utimensat(AT_FDCWD, path.constData(), times, link ? AT_SYMLINK_NOFOLLOW : 0);
}

} // namespace

bool readImageHeader(const QString& hostImage, ImageHeader* header) {
    QFile f(hostImage);
    if (!f.open(QIODevice::ReadOnly))
        return false;
    if (f.readLine() != kMagic)
        return false;
    const QJsonObject o = QJsonDocument::fromJson(f.readLine()).object();
    if (o.isEmpty())
        return false;
    header->volumeName = o.value(QStringLiteral("volname")).toString();
    header->fs = o.value(QStringLiteral("fs")).toString(QStringLiteral("hfs"));
    header->capacity = o.value(QStringLiteral("capacity")).toInteger();
    header->format = o.value(QStringLiteral("format")).toString(QStringLiteral("UDRW"));
    return true;
}

bool writeImage(const QString& hostImage, const ImageHeader& header, const QString& hostFolder,
                QString* error) {
    const QString temp = hostImage + QStringLiteral(".writing");
    QFile out(temp);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = out.errorString();
        return false;
    }
    QJsonObject o;
    o.insert(QStringLiteral("volname"), header.volumeName);
    o.insert(QStringLiteral("fs"), header.fs);
    o.insert(QStringLiteral("capacity"), header.capacity);
    o.insert(QStringLiteral("format"), header.format);
    out.write(kMagic);
    out.write(QJsonDocument(o).toJson(QJsonDocument::Compact) + '\n');
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::path base(QFile::encodeName(hostFolder).toStdString());
    if (fs::is_directory(base, ec)) {
        for (auto it =
                 fs::recursive_directory_iterator(base, fs::directory_options::skip_permission_denied, ec);
             it != fs::recursive_directory_iterator(); it.increment(ec)) {
            if (ec)
                break;
            const QByteArray full = QByteArray::fromStdString(it->path().string());
            const QByteArray rel = QByteArray::fromStdString(it->path().lexically_relative(base).string());
            struct stat st;
            if (lstat(full.constData(), &st) != 0)
                continue;
            const QByteArray mode = QByteArray::number(st.st_mode & 07777, 8);
            const QByteArray mtime = QByteArray::number(qint64(st.st_mtime));
            if (S_ISLNK(st.st_mode)) {
                QByteArray raw(4096, '\0');
                const ssize_t n = readlink(full.constData(), raw.data(), size_t(raw.size()));
                const QByteArray t = n > 0 ? raw.left(n) : QByteArray();
                out.write("L " + mode + ' ' + mtime + ' ' + QByteArray::number(t.size()) + ' ' +
                          QByteArray::number(rel.size()) + '\n' + rel + t);
            } else if (S_ISDIR(st.st_mode)) {
                out.write("D " + mode + ' ' + mtime + " 0 " + QByteArray::number(rel.size()) + '\n' + rel);
            } else if (S_ISREG(st.st_mode)) {
                QFile in(QFile::decodeName(full));
                if (!in.open(QIODevice::ReadOnly))
                    continue;
                out.write("F " + mode + ' ' + mtime + ' ' + QByteArray::number(qint64(st.st_size)) + ' ' +
                          QByteArray::number(rel.size()) + '\n' + rel);
                if (!copyData(in, out, st.st_size)) {
                    *error = QStringLiteral("Input/output error");
                    return false;
                }
            }
        }
    }
    out.write("E\n");
    if (out.size() < header.capacity)
        out.resize(header.capacity);
    out.close();
    if (out.error() != QFileDevice::NoError) {
        *error = out.errorString();
        return false;
    }
    QFile::remove(hostImage);
    return QFile::rename(temp, hostImage);
}

bool extractImage(const QString& hostImage, const QString& hostFolder, QString* error) {
    QFile in(hostImage);
    if (!in.open(QIODevice::ReadOnly) || in.readLine() != kMagic) {
        *error = QStringLiteral("image not recognized");
        return false;
    }
    in.readLine();
    QDir().mkpath(hostFolder);
    struct Pending {
        QByteArray path;
        qint64 mtime;
        int mode;
    };
    QList<Pending> folders;
    while (true) {
        const QByteArray head = in.readLine().trimmed();
        if (head.isEmpty() || head == "E")
            break;
        const QList<QByteArray> parts = head.split(' ');
        if (parts.size() != 5) {
            *error = QStringLiteral("image not recognized");
            return false;
        }
        const char type = parts[0].at(0);
        const int mode = parts[1].toInt(nullptr, 8);
        const qint64 mtime = parts[2].toLongLong();
        const qint64 size = parts[3].toLongLong();
        const QByteArray rel = in.read(parts[4].toLongLong());
        const QByteArray path = QFile::encodeName(hostFolder) + '/' + rel;
        if (rel.contains("../") || rel.startsWith('/')) {
            *error = QStringLiteral("image not recognized");
            return false;
        }
        if (type == 'D') {
            QDir().mkpath(QFile::decodeName(path));
            folders << Pending{path, mtime, mode};
        } else if (type == 'L') {
            const QByteArray target = in.read(size);
            ::unlink(path.constData());
            if (symlink(target.constData(), path.constData()) == 0)
                setTimes(path, mtime, true);
        } else if (type == 'F') {
            QFile out(QFile::decodeName(path));
            if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) || !copyData(in, out, size)) {
                *error = QStringLiteral("Input/output error");
                return false;
            }
            out.close();
            chmod(path.constData(), mode_t(mode));
            setTimes(path, mtime, false);
        }
    }
    // Folder times last, since filling a folder changes its time.
    for (auto it = folders.crbegin(); it != folders.crend(); ++it) {
        chmod(it->path.constData(), mode_t(it->mode));
        setTimes(it->path, it->mtime, false);
    }
    return true;
}

void saveImageContent(MachineState& m, Disk& d) {
    if (d.image.isEmpty())
        return;
    ImageHeader header;
    readImageHeader(m.host(d.image), &header);
    for (Partition& p : d.partitions) {
        Partition* vol = m.volumeCarriedBy(p);
        if (!vol->hasVolume())
            continue;
        header.volumeName = vol->name;
        QString error;
        writeImage(m.host(d.image), header, m.contentFolder(*vol), &error);
        QDir(m.contentFolder(*vol)).removeRecursively();
        return;
    }
}

} // namespace emu
