#pragma once

#include "TreeCompare.h"

#include <QString>
#include <QTemporaryDir>

// A Mac made for one test in a temporary folder and set as the Machine's root for as long as
// the object lives. Empty at first but for the usual top folders; tests add tools and files.
class TestMachine {
public:
    TestMachine();
    ~TestMachine();
    TestMachine(const TestMachine&) = delete;
    TestMachine& operator=(const TestMachine&) = delete;

    bool isValid() const { return m_dir.isValid(); }
    QString root() const { return m_dir.path(); }
    // Host path of a Mac path on this machine.
    QString host(const QString& macPath) const { return m_dir.path() + macPath; }

    // Writes a file (creating its folders) and answers its host path.
    QString writeFile(const QString& macPath, const QByteArray& content);
    // Writes an executable /bin/sh script as a tool, e.g. installTool("/usr/sbin/diskutil", ...).
    QString installTool(const QString& macPath, const QByteArray& scriptBody);
    QByteArray readFile(const QString& macPath) const { return readHostFile(host(macPath)); }

private:
    QTemporaryDir m_dir;
    QString m_previousRoot;
};
