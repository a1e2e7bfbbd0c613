#include "DiskImageTestKit.h"

#include <QDirIterator>
#include <QFile>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

namespace DiskImageTestKit {

std::unique_ptr<EmulatedMac> machine() {
    return EmulatedMac::fromJson(R"({"version": "10.15.7", "user": "alex", "disks": [
      {"name": "src", "mediaName": "Source Disk", "size": "32GB", "scheme": "GPT", "partitions": [
        {"fs": "JHFS+", "name": "SRC", "seed": {"files": 3, "folders": 2, "depth": 2, "size": 40000,
          "seed": 21, "hidden": 1, "explicit": [{"path": "Photos/IMG_0001.JPG", "size": 350000},
            {"path": "Photos/Trip/IMG_0002.JPG", "size": 120000}, {"path": "Report.docx", "size": 42000},
            {"path": "Notes.txt", "text": "notes\n"}, {"path": "Empty", "folder": true}]}}]},
      {"name": "dest", "mediaName": "Backup Disk", "size": "64GB", "scheme": "GPT",
        "partitions": [{"fs": "JHFS+", "name": "DEST"}]},
      {"name": "tiny", "mediaName": "Tiny Stick", "size": "64MB", "scheme": "MBR",
        "partitions": [{"fs": "FAT32", "name": "TINY"}]}]})");
}

bool makeSocket(const QString& hostPath) {
    const QByteArray path = QFile::encodeName(hostPath);
    sockaddr_un address{AF_UNIX, {}};
    if (path.size() >= qsizetype(sizeof(address.sun_path)))
        return false;
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool bound =
        fd >= 0 && ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(fd);
    return bound;
}

QStringList treeListing(const QString& hostFolder) {
    QStringList out;
    QDirIterator it(hostFolder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QString relative = it.filePath().mid(hostFolder.size() + 1);
        out << (it.fileInfo().isDir() && !it.fileInfo().isSymLink() ? relative + QLatin1Char('/') : relative);
    }
    out.sort();
    return out;
}

} // namespace DiskImageTestKit
