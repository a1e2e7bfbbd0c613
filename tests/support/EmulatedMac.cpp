#include "EmulatedMac.h"
#include "TreeCompare.h"

#include "core/PropertyList.h"
#include "platform/Machine.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <algorithm>
#include <unistd.h>

EmulatedMac::EmulatedMac(const QByteArray& scenario)
    : m_dir(QDir::tempPath() + QStringLiteral("/tavrill-mac-XXXXXX")) {
    m_previousRoot = Machine::root();
    const QString scenarioFile = m_dir.path() + QStringLiteral(".scenario.json");
    if (!writeHostFile(scenarioFile, scenario)) {
        m_error = QStringLiteral("cannot write the scenario");
        return;
    }
    QProcess mk;
    // The emulator's programs are in the build tree's emulator folder.
    mk.start(qEnvironmentVariable("TAVRILL_BINARY_DIR", QStringLiteral(TAVRILL_BINARY_DIR)) +
                 QStringLiteral("/emulator/mkmachine"),
             {scenarioFile, m_dir.path() + QStringLiteral("/")});
    mk.waitForFinished(120000);
    QFile::remove(scenarioFile);
    if (mk.exitStatus() != QProcess::NormalExit || mk.exitCode() != 0) {
        m_error = QString::fromUtf8(mk.readAllStandardError()) + mk.errorString();
        return;
    }
    m_valid = true;
    Machine::setRoot(m_dir.path());
}

EmulatedMac::~EmulatedMac() {
    Machine::setRoot(m_previousRoot);
}

std::unique_ptr<EmulatedMac> EmulatedMac::fromScenario(const QString& name) {
    QFile f(qEnvironmentVariable("TAVRILL_SOURCE_DIR", QStringLiteral(TAVRILL_SOURCE_DIR)) +
            QStringLiteral("/emulator/scenarios/") + name + QStringLiteral(".json"));
    return fromJson(f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray());
}

std::unique_ptr<EmulatedMac> EmulatedMac::fromJson(const QByteArray& scenario) {
    return std::unique_ptr<EmulatedMac>(new EmulatedMac(scenario));
}

QString EmulatedMac::host(const QString& macPath) const {
    return macPath == QLatin1String("/") ? root() : root() + macPath;
}

EmulatedMac::Run EmulatedMac::run(const QString& tool, const QStringList& args, const QByteArray& input,
                                  int timeoutMs) const {
    QString path;
    for (const char* folder : {"/usr/sbin/", "/usr/bin/", "/usr/local/bin/"})
        if (path.isEmpty() && QFile::exists(root() + QLatin1String(folder) + tool))
            path = root() + QLatin1String(folder) + tool;
    Run r;
    QProcess p;
    p.setProcessEnvironment(Machine::toolEnvironment());
    p.start(path, args);
    if (!p.waitForStarted(10000))
        return r;
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished(2000);
        return r;
    }
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    return r;
}

QVariantMap EmulatedMac::diskInfo(const QString& arg) const {
    const Run r = run(QStringLiteral("diskutil"), {QStringLiteral("info"), QStringLiteral("-plist"), arg});
    return PropertyList::dictionaryFromBytes(r.out).value_or(QVariantMap());
}

QVariantMap EmulatedMac::diskList(const QStringList& filters) const {
    const Run r = run(QStringLiteral("diskutil"),
                      QStringList{QStringLiteral("list"), QStringLiteral("-plist")} + filters);
    return PropertyList::dictionaryFromBytes(r.out).value_or(QVariantMap());
}

namespace {

// The log's lines of one tool (every tool but emuctl when empty); `events` picks the lines of
// later events instead of the calls, `rootOnly` the calls that ran as root.
QList<QJsonObject> logLines(const QString& root, const QString& tool, bool events, bool rootOnly = false) {
    QList<QJsonObject> out;
    QFile f(root + QStringLiteral("/var/log/emulator.log"));
    if (!f.open(QIODevice::ReadOnly))
        return out;
    while (!f.atEnd()) {
        const QJsonObject line = QJsonDocument::fromJson(f.readLine()).object();
        const QString t = line.value(QStringLiteral("tool")).toString();
        if (t.isEmpty() || (!tool.isEmpty() && t != tool) || t == QLatin1String("emuctl") ||
            line.contains(QStringLiteral("event")) != events ||
            (rootOnly && !line.value(QStringLiteral("root")).toBool()))
            continue;
        out << line;
    }
    return out;
}

QList<QStringList> argumentLists(const QList<QJsonObject>& lines) {
    QList<QStringList> out;
    for (const QJsonObject& line : lines) {
        QStringList call{line.value(QStringLiteral("tool")).toString()};
        for (const QJsonValue& v : line.value(QStringLiteral("argv")).toArray())
            call << v.toString();
        out << call;
    }
    return out;
}

// A process that has not ended (a zombie has). With the time a tool logged its call: the same
// process, not a later one that was given the number once it was free again (the numbers wrap
// at 32768, within minutes on a busy machine).
bool isRunning(qint64 pid, const QString& loggedAt = QString()) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray text = stat.readAll();
    const qsizetype close = text.lastIndexOf(')');
    if (close <= 0 || text.mid(close + 2, 1) == "Z")
        return false;
    if (loggedAt.isEmpty())
        return true;
    static const qint64 bootMs = [] {
        QFile f(QStringLiteral("/proc/stat"));
        const QByteArray all = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        const qsizetype at = all.indexOf("\nbtime ");
        return all.mid(at + 7, all.indexOf('\n', at + 1) - at - 7).toLongLong() * 1000;
    }();
    // The start, in clock ticks after the boot, is the 20th field after the command's name.
    const qint64 startMs =
        bootMs + text.mid(close + 2).split(' ').value(19).toLongLong() * 1000 / sysconf(_SC_CLK_TCK);
    return startMs <= QDateTime::fromString(loggedAt, Qt::ISODateWithMs).toMSecsSinceEpoch() + 5000;
}

} // namespace

QList<QStringList> EmulatedMac::calls(const QString& tool) const {
    return argumentLists(logLines(root(), tool, false));
}

QList<QStringList> EmulatedMac::rootCalls(const QString& tool) const {
    return argumentLists(logLines(root(), tool, false, true));
}

QList<qint64> EmulatedMac::runningCallPids(const QString& tool) const {
    QList<qint64> out;
    for (const QJsonObject& line : logLines(root(), tool, false))
        if (isRunning(line.value(QStringLiteral("pid")).toInteger(),
                      line.value(QStringLiteral("time")).toString()))
            out << line.value(QStringLiteral("pid")).toInteger();
    return out;
}

QStringList EmulatedMac::events(const QString& tool) const {
    QStringList out;
    for (const QJsonObject& line : logLines(root(), tool, true))
        out << line.value(QStringLiteral("event")).toString();
    return out;
}

QStringList EmulatedMac::commandLines(const QString& tool) const {
    QStringList out;
    for (const QStringList& c : calls(tool))
        out << c.join(QLatin1Char(' '));
    return out;
}

void EmulatedMac::clearLog() const {
    QFile::resize(root() + QStringLiteral("/var/log/emulator.log"), 0);
}

QByteArray EmulatedMac::mountTable() const {
    QFile f(root() + QStringLiteral("/proc/self/mounts"));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QString EmulatedMac::plug(const QByteArray& diskJson) const {
    const Run r = emuctl({QStringLiteral("plug"), QString::fromUtf8(diskJson)});
    return r.code == 0 ? QString::fromUtf8(r.out).trimmed() : QString();
}

QProcessEnvironment EmulatedMac::rootEnvironment() {
    QProcessEnvironment environment = Machine::toolEnvironment();
    environment.insert(QStringLiteral("EMULATOR_EUID"), QStringLiteral("0"));
    return environment;
}

QList<qint64> EmulatedMac::runningTools(const QString& tool) const {
    QList<qint64> pids;
    const QStringList programs{host(QStringLiteral("/usr/sbin/") + tool),
                               host(QStringLiteral("/usr/bin/") + tool)};
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs, QDir::Unsorted)) {
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(entry));
        if (entry.toLongLong() > 0 && cmdline.open(QIODevice::ReadOnly) &&
            programs.contains(QString::fromLocal8Bit(cmdline.readAll().split('\0').value(0))) &&
            isRunning(entry.toLongLong()))
            pids << entry.toLongLong();
    }
    std::sort(pids.begin(), pids.end());
    return pids;
}
