#include "core/Resources.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QStringList>

namespace {
QMutex overrideLock;
QString overrideFolder;
} // namespace

void setResourceDirectory(const QString& hostFolder) {
    QMutexLocker lock(&overrideLock);
    overrideFolder = hostFolder;
}

QString resourcePath(const QString& name, const QString& type) {
    const QString fileName = type.isEmpty() ? name : name + QLatin1Char('.') + type;
    QStringList folders;
    {
        QMutexLocker lock(&overrideLock);
        if (!overrideFolder.isEmpty())
            folders << overrideFolder; // a folder set by a test is the only place looked in
    }
    if (folders.isEmpty()) {
        if (QCoreApplication::instance()) {
            const QString appDir = QCoreApplication::applicationDirPath();
            folders << appDir + QStringLiteral("/../Resources")
                    << appDir + QStringLiteral("/../share/tavrill");
        }
        folders << QStringLiteral(TAVRILL_BUILD_RESOURCES);
    }
    for (const QString& folder : folders) {
        const QFileInfo candidate(folder + QLatin1Char('/') + fileName);
        if (candidate.isFile())
            return candidate.canonicalFilePath();
    }
    return QString();
}
