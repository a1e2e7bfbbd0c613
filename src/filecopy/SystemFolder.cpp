#include "filecopy/SystemFolder.h"

#include "core/PropertyList.h"
#include "core/Resources.h"

bool SystemFolder::isSystemFileWithFilePath(const QString& path) {
    const QString file = resourcePath(QStringLiteral("SystemFile"), QStringLiteral("plist"));
    if (file.isEmpty())
        return false;
    const std::optional<QVariantMap> list = PropertyList::readDictionary(file);
    if (!list || list->isEmpty())
        return false;
    for (int i = 0; i < int(list->size()); ++i) {
        const QVariant value = list->value(QString::asprintf("%d", i));
        if (value.typeId() == QMetaType::QString && value.toString() == path)
            return true;
    }
    return false;
}
