#include "Fixtures.h"

#include "TestMachine.h"

#include <QDir>
#include <QFile>

#include <dirent.h>

void writeSized(TestMachine& mac, const QString& macPath, qsizetype length) {
    mac.writeFile(macPath, QByteArray(length, 'z'));
}

void makeFolder(TestMachine& mac, const QString& macPath) {
    QDir().mkpath(mac.host(macPath));
}

QStringList listingOrder(const QString& hostFolder) {
    QStringList names;
    DIR* dir = ::opendir(QFile::encodeName(hostFolder).constData());
    if (!dir)
        return names;
    while (const dirent* d = ::readdir(dir)) {
        const QString name = QFile::decodeName(d->d_name);
        if (name != "." && name != "..")
            names << name;
    }
    ::closedir(dir);
    return names;
}

QStringList describe(const FileNodeList& nodes) {
    QStringList out;
    for (const FileNodeRef& n : nodes)
        out << QStringLiteral("%1:%2").arg(n->name()).arg(n->size());
    return out;
}

FileNodeRef fileNode(const QString& path, quint64 size, qint64 state, FileNode* father) {
    FileNodeRef n = FileNode::initWithPath(path, path.section('/', -1), false, father);
    n->setSize(size);
    n->setState(state);
    if (father)
        father->children().append(n);
    return n;
}

FileNodeRef folderNode(const QString& path, qint64 state, FileNode* father) {
    FileNodeRef n = FileNode::initWithPath(path, path.section('/', -1), true, father);
    n->setState(state);
    if (father)
        father->children().append(n);
    return n;
}
