#include "TestMachine.h"

#include "platform/Machine.h"

#include <QDir>
#include <QFile>

TestMachine::TestMachine() : m_dir(QDir::tempPath() + QStringLiteral("/tavrill-test-XXXXXX")) {
    m_previousRoot = Machine::root();
    for (const char* folder : {"tmp", "Volumes", "usr/sbin", "usr/bin", "Users/tester/Desktop", "var/log"})
        QDir(m_dir.path()).mkpath(QString::fromLatin1(folder));
    Machine::setRoot(m_dir.path());
}

TestMachine::~TestMachine() {
    Machine::setRoot(m_previousRoot);
}

QString TestMachine::writeFile(const QString& macPath, const QByteArray& content) {
    writeHostFile(host(macPath), content);
    return host(macPath);
}

QString TestMachine::installTool(const QString& macPath, const QByteArray& scriptBody) {
    const QString path = writeFile(macPath, "#!/bin/sh\n" + scriptBody + "\n");
    QFile::setPermissions(path,
                          QFile::permissions(path) | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther);
    return path;
}
