#pragma once

#include <QSet>
#include <QString>

// Answers whether a path is one of the protected system items listed in the resource
// "SystemFile" of type "plist" (keys "0", "1", ... holding absolute paths). The file list shows
// such items without a checkbox.
class SystemFolder {
public:
    SystemFolder() = delete;

    // Exact, case-sensitive comparison of whole paths. The resource is read on every call, so a
    // changed list takes effect at once; a missing or empty resource protects nothing.
    static bool isSystemFileWithFilePath(const QString& path);
    // Every protected path of the resource, read once, for a caller that asks for many paths.
    static QSet<QString> systemFilePaths();
};
