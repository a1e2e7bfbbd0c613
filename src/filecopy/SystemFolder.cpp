#include "filecopy/SystemFolder.h"

#include "core/PropertyList.h"
#include "core/Resources.h"

bool SystemFolder::isSystemFileWithFilePath(const QString& path) {
    return systemFilePaths().contains(path);
}

QSet<QString> SystemFolder::systemFilePaths() {
    QSet<QString> paths;
    const QString file = resourcePath(QStringLiteral("SystemFile"), QStringLiteral("plist"));
    const std::optional<QVariantMap> list =
        file.isEmpty() ? std::nullopt : PropertyList::readDictionary(file);
    if (!list)
        return paths;
    for (int i = 0; i < int(list->size()); ++i) {
        const QVariant value = list->value(QString::asprintf("%d", i));
        if (value.typeId() == QMetaType::QString)
            paths.insert(value.toString());
    }
    return paths;
}
