#pragma once

#include <QString>

// Copies one item, as a file manager's item copy does: a file with its data, a folder with
// everything in it, a symbolic link as a link. The destination must not exist yet; the copy of
// a folder goes on past an entry that fails and reports the first failure. What is copied
// before a failure stays.
//
// Kept on every system: data, permission bits, modification and access times, links as links,
// and the owner where the process may set it. A Mac also keeps extended attributes and access
// lists, and clones the data where the volume allows.
//
// Paths are host paths. Returns true on success; otherwise error (when given) receives a
// description naming the item that failed.
bool copyItem(const QString& sourceHostPath, const QString& destinationHostPath, QString* error);
