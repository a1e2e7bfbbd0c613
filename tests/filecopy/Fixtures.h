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
// The same names, sorted.
QStringList sortedEntries(const QString& hostFolder);
// size bytes of seeded noise, the same for the same seed.
QByteArray noise(qsizetype size, quint32 seed);
// "name:size" for each node, to compare orders in one go.
QStringList describe(const FileNodeList& nodes);
FileNodeRef fileNode(const QString& path, quint64 size, qint64 state = 1, FileNode* father = nullptr);
// Writes a file on the machine and answers its node, of the content's length, under father.
FileNodeRef writtenNode(TestMachine& mac, const QString& macPath, const QByteArray& content, qint64 state = 1,
                        FileNode* father = nullptr);
FileNodeRef folderNode(const QString& path, qint64 state = 1, FileNode* father = nullptr);

// Holds a copy when it opens a file: a lease is taken on the file, and another open of it waits
// until the lease is given back. Tests see when the copy is waiting there; no timing involved.
class Hold {
public:
    explicit Hold(const QString& hostPath);
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    // False where the file system grants no leases (see leasesHoldForTemporaryFiles).
    bool ok() const { return m_ok; }
    // Whether something is waiting to open the file.
    bool reached() const;
    void release();

    // Makes the temporary folder, where test machines are made, one whose file system grants
    // leases: the usual one when it does, else the first of /dev/shm, the user's runtime folder
    // and /var/tmp that does (TMPDIR then names it). False when none does.
    static bool leasesHoldForTemporaryFiles();

private:
    int m_fd = -1;
    bool m_ok = false;
    void (*m_previous)(int) = nullptr;
};
