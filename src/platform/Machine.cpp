#include "platform/Machine.h"

#include <QDir>
#include <QMutex>
#include <QMutexLocker>

namespace {
QMutex rootLock;
QString machineRoot;
} // namespace

QString Machine::root() {
    QMutexLocker lock(&rootLock);
    return machineRoot;
}

void Machine::setRoot(const QString& hostFolder) {
    QString cleaned = hostFolder.isEmpty() ? QString() : QDir::cleanPath(QDir(hostFolder).absolutePath());
    if (cleaned == QLatin1String("/"))
        cleaned.clear();
    QMutexLocker lock(&rootLock);
    machineRoot = cleaned;
}

void Machine::initFromEnvironment() {
    setRoot(qEnvironmentVariable("TAVRILL_MACHINE_ROOT"));
}

QString Machine::hostPath(const QString& macPath) {
    const QString r = root();
    if (r.isEmpty() || !macPath.startsWith(QLatin1Char('/')))
        return macPath;
    if (macPath == QLatin1String("/"))
        return r;
    return r + macPath;
}

QString Machine::macPath(const QString& hostPath) {
    const QString r = root();
    if (r.isEmpty())
        return hostPath;
    if (hostPath == r)
        return QStringLiteral("/");
    if (hostPath.startsWith(r + QLatin1Char('/')))
        return hostPath.mid(r.size());
    return hostPath;
}

QProcessEnvironment Machine::toolEnvironment() {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    const QString r = root();
    const QString systemPath =
        env.value(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin:/usr/sbin:/sbin"));
    env.insert(QStringLiteral("PATH"),
               r + QStringLiteral("/usr/sbin:") + r + QStringLiteral("/usr/bin:") + systemPath);
    return env;
}

QString Machine::temporaryDirectory() {
    if (isEmulated())
        return QStringLiteral("/tmp");
    QString t = QDir::tempPath();
    while (t.size() > 1 && t.endsWith(QLatin1Char('/')))
        t.chop(1);
    return t;
}

QString Machine::userName() {
    if (!isEmulated()) {
        QString user = qEnvironmentVariable("USER");
        return user.isEmpty() ? qEnvironmentVariable("LOGNAME") : user;
    }
    // An emulated Mac has one home folder under /Users beside "Shared".
    const QStringList homes =
        QDir(hostPath(QStringLiteral("/Users"))).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& home : homes) {
        if (home != QLatin1String("Shared"))
            return home;
    }
    return QString();
}
