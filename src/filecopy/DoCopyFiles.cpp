#include "filecopy/DoCopyFiles.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/ItemCopy.h"
#include "platform/Machine.h"

#include <QDir>
#include <QFile>
#include <QThreadPool>

#include <cstring>
#include <unistd.h>

namespace {

QString folderName(const QDateTime& now) {
    return QStringLiteral("Tavrill(%1)").arg(now.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
}

bool canEnter(const QString& macPath) {
    return ::access(QFile::encodeName(Machine::hostPath(macPath)).constData(), X_OK) == 0;
}

// Whether the folder's listing holds exactly this name; a folder that cannot be listed holds
// nothing.
bool listingContains(const QString& folderHost, const QString& name) {
    DirectoryBatchReader reader(folderHost);
    if (reader.status() != DirectoryBatchReader::OpenStatus::Open)
        return false;
    auto batch = std::make_unique<DirectoryBatch>();
    const QByteArray wanted = name.toUtf8();
    DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
    while (result == DirectoryBatchReader::ReadResult::Success) {
        result = reader.readBatch(*batch);
        for (int i = 0; i < batch->count; ++i) {
            const DirectoryEntry& entry = batch->entries[i];
            if (entry.nameLength == wanted.size() &&
                std::memcmp(entry.name, wanted.constData(), entry.nameLength) == 0)
                return true;
        }
    }
    return false;
}

QString withoutExtension(const QString& name) {
    // As a file manager names it: the part after the last dot is the extension, unless the dot
    // starts the name (".profile" has none).
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.left(dot) : name;
}

} // namespace

QString DoCopyFiles::createCopyFolderWithVolumePath(const QString& volumePath, const QDateTime& now) {
    const QString name = folderName(now);
    QString path =
        volumePath == QLatin1String("/") ? QLatin1Char('/') + name : volumePath + QLatin1Char('/') + name;
    QDir().mkpath(Machine::hostPath(path));
    if (!canEnter(path)) {
        path = QStringLiteral("/Users/%1/Desktop/%2").arg(Machine::userName(), name);
        QDir().mkpath(Machine::hostPath(path));
    }
    return path;
}

void DoCopyFiles::doCopyFilesWithArr(const FileNodeList& nodes, const QString& copyPath) {
    m_isCancel = false;
    ++m_activeRuns;
    std::shared_ptr<DoCopyFiles> self = shared_from_this();
    QThreadPool::globalInstance()->start([self, nodes, copyPath] {
        self->run(nodes, copyPath);
        --self->m_activeRuns;
    });
}

void DoCopyFiles::run(const FileNodeList& nodes, const QString& copyPath) {
    const qsizetype count = nodes.size();
    for (qsizetype i = 0; i < count; ++i) {
        if (m_isCancel)
            break;
        if (i == 0)
            reportProgress(5);
        const FileNodeRef& node = nodes[i];
        if (node->state() == 2)
            doCopyFilesWithChiNode(node->children().toList(), copyPath);
        else if (node->state() == 1)
            toCopyFileWithNode(node.data(), copyPath);
        const unsigned percent = unsigned(100 * (i + 1)) / unsigned(count);
        reportProgress(float(percent <= 5 ? 5 : percent));
    }
}

void DoCopyFiles::doCopyFilesWithChiNode(const FileNodeList& nodes, const QString& copyPath) {
    for (const FileNodeRef& child : nodes) {
        if (m_isCancel)
            break;
        if (child->state() == 2) {
            const QString folder = copyPath + QLatin1Char('/') + child->name();
            QDir().mkpath(Machine::hostPath(folder));
            doCopyFilesWithArr(child->children().toList(), folder);
        } else if (child->state() == 1) {
            toCopyFileWithNode(child.data(), copyPath);
        }
    }
}

void DoCopyFiles::toCopyFileWithNode(const FileNode* node, const QString& copyPath) {
    if (m_isCancel)
        return;
    const QString sourcePath = node->path();
    if (DoCopyFilesDelegate* delegate = m_delegate)
        onMainSync([delegate, &sourcePath] { delegate->topCopyFilePath(sourcePath); });
    const QString name = node->name();
    const QString chosen = createFileWithPath(copyPath, name, name);
    if (!readItemInfo(Machine::hostPath(copyPath), true).exists) {
        if (DoCopyFilesDelegate* delegate = m_delegate)
            delegate->copyFileError();
        return;
    }
    QString error;
    copyItem(Machine::hostPath(sourcePath), Machine::hostPath(copyPath + QLatin1Char('/') + chosen), &error);
    // Every item ends with this line, "(null)" when the copy went well: the console then shows
    // the run item by item, and a failure stands at its place in it.
    QvConsoleLog("error--%s", qUtf8Printable(error.isEmpty() ? QStringLiteral("(null)") : error));
}

QString DoCopyFiles::createFileWithPath(const QString& copyPath, const QString& fileNormalName,
                                        const QString& fileName) {
    const QString folderHost = Machine::hostPath(copyPath);
    const QString stem = withoutExtension(fileNormalName);
    QString candidate = fileName;
    for (int collisions = 1;; ++collisions) {
        // A name the file system does not find at all is not in the listing either; only when
        // it finds one (on a case-insensitive volume perhaps another case of it) is the listing
        // read for an exact match.
        if (!readItemInfo(folderHost + QLatin1Char('/') + candidate, false).exists)
            return candidate;
        if (!listingContains(folderHost, candidate))
            return candidate;
        candidate = QStringLiteral("%1 %2").arg(stem).arg(collisions);
    }
}

void DoCopyFiles::reportProgress(float percent) {
    if (DoCopyFilesDelegate* delegate = m_delegate)
        onMainSync([delegate, percent] { delegate->topCopyProgress(percent); });
}
