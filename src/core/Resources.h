#pragma once

#include <QString>

// The host path of an application resource such as resourcePath("PrivateData", "plist"), or a
// null string when there is none. Looked up in order: a folder set with setResourceDirectory
// (tests; then the only place looked in), the bundle's Contents/Resources on macOS, <prefix>/share/tavrill of
// an installed copy, the build tree's resources folder.
QString resourcePath(const QString& name, const QString& type);
void setResourceDirectory(const QString& hostFolder);
