#include "Fixtures.h"

#include "TestMachine.h"
#include "TreeCompare.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

void writeSized(TestMachine& mac, const QString& macPath, qsizetype length) {
    mac.writeFile(macPath, QByteArray(length, 'z'));
}

void makeFolder(TestMachine& mac, const QString& macPath) {
    QDir().mkpath(mac.host(macPath));
}

QStringList listingOrder(const QString& hostFolder) {
    return QDir(hostFolder)
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
}

QStringList sortedEntries(const QString& hostFolder) {
    QStringList names = listingOrder(hostFolder);
    names.sort();
    return names;
}

QByteArray noise(qsizetype size, quint32 seed) {
    QList<quint32> words((size + 3) / 4);
    QRandomGenerator(seed).fillRange(words.data(), words.size());
    return QByteArray(reinterpret_cast<const char*>(words.constData()), size);
}

QStringList describe(const FileNodeList& nodes) {
    QStringList out;
    for (const FileNodeRef& n : nodes)
        out << QStringLiteral("%1:%2").arg(n->name()).arg(n->size());
    return out;
}

static FileNodeRef node(const QString& path, bool folder, qint64 state, FileNode* father) {
    FileNodeRef n = FileNode::initWithPath(path, path.section('/', -1), folder, father);
    n->setState(state);
    if (father)
        father->children().append(n);
    return n;
}

FileNodeRef fileNode(const QString& path, quint64 size, qint64 state, FileNode* father) {
    FileNodeRef n = node(path, false, state, father);
    n->setSize(size);
    return n;
}

FileNodeRef writtenNode(TestMachine& mac, const QString& macPath, const QByteArray& content, qint64 state,
                        FileNode* father) {
    mac.writeFile(macPath, content);
    return fileNode(macPath, quint64(content.size()), state, father);
}

FileNodeRef folderNode(const QString& path, qint64 state, FileNode* father) {
    return node(path, true, state, father);
}

Hold::Hold(const QString& hostPath) {
    m_fd = ::open(QFile::encodeName(hostPath).constData(), O_RDONLY | O_CLOEXEC);
    // Breaking the lease signals its holder (this process); the signal is of no use here.
    m_previous = std::signal(SIGIO, SIG_IGN);
    m_ok = m_fd >= 0 && ::fcntl(m_fd, F_SETLEASE, F_WRLCK) == 0;
}

Hold::~Hold() {
    release();
    if (m_fd >= 0)
        ::close(m_fd);
    std::signal(SIGIO, m_previous);
}

bool Hold::reached() const {
    return ::fcntl(m_fd, F_GETLEASE) != F_WRLCK;
}

void Hold::release() {
    if (m_fd >= 0)
        ::fcntl(m_fd, F_SETLEASE, F_UNLCK);
}

bool Hold::leasesHoldForTemporaryFiles() {
    const auto grants = [](const QString& folder) {
        const QString probe = folder + QStringLiteral("/tavrill-lease-%1").arg(::getpid());
        const bool granted = writeHostFile(probe, {}) && Hold(probe).ok();
        QFile::remove(probe);
        return granted;
    };
    if (grants(QDir::tempPath()))
        return true;
    for (const QString& folder : {QStringLiteral("/dev/shm"), QStringLiteral("/run/user/%1").arg(::getuid()),
                                  QStringLiteral("/var/tmp")}) {
        if (QFileInfo(folder).isDir() && grants(folder)) {
            qputenv("TMPDIR", QFile::encodeName(folder));
            return true;
        }
    }
    return false;
}
