#include "platform/ItemCopy.h"

#include <QFile>

#include <cerrno>
#include <copyfile.h>
#include <cstring>

// macOS: copyfile(3) copies data, permissions, times, extended attributes and access lists,
// walks folders itself and clones the data on volumes that can (APFS). COPYFILE_EXCL makes an
// existing destination an error, like the file manager's item copy.

bool copyItem(const QString& sourceHostPath, const QString& destinationHostPath, QString* error) {
    const QByteArray source = QFile::encodeName(sourceHostPath);
    const QByteArray destination = QFile::encodeName(destinationHostPath);
    const copyfile_flags_t flags =
        COPYFILE_ALL | COPYFILE_RECURSIVE | COPYFILE_EXCL | COPYFILE_NOFOLLOW_SRC | COPYFILE_CLONE;
    if (::copyfile(source.constData(), destination.constData(), nullptr, flags) == 0)
        return true;
    if (error)
        *error =
            QString::fromUtf8(source) + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(errno));
    return false;
}
