#pragma once

#include "filecopy/FileNode.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

class TestMachine;

// Small helpers for building trees on a test machine's volumes.
void writeSized(TestMachine& mac, const QString& macPath, qsizetype length);
void makeFolder(TestMachine& mac, const QString& macPath);
// The names of a folder in the order the file system lists them (its own readdir).
QStringList listingOrder(const QString& hostFolder);
// "name:size" for each node, to compare orders in one go.
QStringList describe(const FileNodeList& nodes);
FileNodeRef fileNode(const QString& path, quint64 size, qint64 state = 1, FileNode* father = nullptr);
FileNodeRef folderNode(const QString& path, qint64 state = 1, FileNode* father = nullptr);
