#include "platform/DirectoryBatchReader.h"

#include <QFile>

#include <sys/stat.h>

// One item's information comes from stat or lstat on every system Tavrill runs on; only the
// batch reading of a folder differs between them (mac/ and posix/).

ItemInfo readItemInfo(const QString& hostPath, bool followLinks) {
    ItemInfo info;
    struct stat st;
    const QByteArray path = QFile::encodeName(hostPath);
    if ((followLinks ? ::stat(path.constData(), &st) : ::lstat(path.constData(), &st)) != 0)
        return info;
    info.exists = true;
    info.isDirectory = S_ISDIR(st.st_mode);
    info.isSymbolicLink = S_ISLNK(st.st_mode);
    info.dataLength = (S_ISREG(st.st_mode) || S_ISLNK(st.st_mode)) ? std::uint64_t(st.st_size) : 0;
    return info;
}
