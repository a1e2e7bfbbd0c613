#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// An independent check that a copied tree equals its source: its own walk with lstat, readlink
// and plain reads, sharing no code with the engines. Each difference is one line naming the
// relative path and what differs (type, permission bits, modification time, data length,
// bytes, link target, missing or extra entries).
QStringList compareTrees(const QString& sourceHost, const QString& copyHost);

// Writes a host file, creating its folders; answers whether all of it was written.
bool writeHostFile(const QString& hostPath, const QByteArray& data);
// A host file's bytes; empty when it cannot be read.
QByteArray readHostFile(const QString& hostPath);

// Creates a symbolic link at linkHost pointing to target (text as given).
bool makeLink(const QByteArray& target, const QString& linkHost);
// Sets the modification (and access) time of an item, without following a link.
bool setModificationTime(const QString& hostPath, qint64 seconds, long nanoseconds);
bool setMode(const QString& hostPath, unsigned mode);

// Builds a tree that exercises an item copy below hostFolder (created): nested folders, an
// empty folder, a hidden file, files with unusual permission bits and old modification times
// (with nanoseconds), a few megabytes of binary data, a read-only folder, and links (relative,
// absolute, dangling, to a folder). Answers the number of items made.
int buildSampleTree(const QString& hostFolder);
