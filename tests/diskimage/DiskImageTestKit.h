#pragma once

#include "EmulatedMac.h"

#include <QString>
#include <QStringList>

#include <memory>

// What the image tests share: a small Mac with a source and a destination volume, an unreadable
// item and a listing of a tree.
namespace DiskImageTestKit {

// 10.15.7 with /Volumes/SRC (files and folders of known content), /Volumes/DEST (room for
// images) and /Volumes/TINY (a 64 MB stick).
std::unique_ptr<EmulatedMac> machine();

// Creates a Unix socket at a host path: an item no copy and no archiver can read.
bool makeSocket(const QString& hostPath);

// The files and folders of a tree as "relative/path" lines, sorted; folders end in "/".
QStringList treeListing(const QString& hostFolder);

} // namespace DiskImageTestKit
