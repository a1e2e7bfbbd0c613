// mkmachine SCENARIO DIR: builds an emulated Mac in DIR from a JSON scenario.

#include "EmuTools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>

#include <unistd.h>

namespace emu {

namespace {

QString defaultBuild(const QString& version) {
    static const QList<QPair<QString, QString>> builds = {
        {QStringLiteral("10.12.6"), QStringLiteral("16G29")},
        {QStringLiteral("10.13.6"), QStringLiteral("17G66")},
        {QStringLiteral("10.14.6"), QStringLiteral("18G103")},
        {QStringLiteral("10.15.7"), QStringLiteral("19H2")},
        {QStringLiteral("11.7"), QStringLiteral("20G817")},
        {QStringLiteral("12.7"), QStringLiteral("21G816")},
        {QStringLiteral("13.6"), QStringLiteral("22G120")},
        {QStringLiteral("14.4"), QStringLiteral("23E214")},
        {QStringLiteral("15.1"), QStringLiteral("24B83")}};
    for (const auto& [v, b] : builds) {
        if (v == version)
            return b;
    }
    return QStringLiteral("00A000");
}

// The system volume's layout follows the version: HFS+ up to 10.12, one APFS volume on
// 10.13 and 10.14, system + data volumes on 10.15, a sealed snapshot at "/" from 11 on.
QString shapeFor(const QString& version) {
    const int major = version.section(QLatin1Char('.'), 0, 0).toInt();
    const int minor = version.section(QLatin1Char('.'), 1, 1).toInt();
    if (major >= 11)
        return QStringLiteral("sealed");
    if (minor >= 15)
        return QStringLiteral("catalina");
    if (minor >= 13)
        return QStringLiteral("apfs");
    return QStringLiteral("hfs");
}

QJsonObject apfsVolume(const QString& name, const QString& role, const QString& mountPoint, bool writable,
                       const QString& group) {
    QJsonObject v;
    v.insert(QStringLiteral("name"), name);
    v.insert(QStringLiteral("role"), role);
    v.insert(QStringLiteral("fs"), QStringLiteral("APFS"));
    if (!mountPoint.isEmpty()) {
        v.insert(QStringLiteral("mounted"), true);
        v.insert(QStringLiteral("mountPoint"), mountPoint);
    }
    v.insert(QStringLiteral("writable"), writable);
    if (!group.isEmpty())
        v.insert(QStringLiteral("groupId"), group);
    return v;
}

QJsonObject systemDisk(const QJsonObject& system, const QString& shape, MachineState& m) {
    const QString name = system.value(QStringLiteral("name")).toString(QStringLiteral("Macintosh HD"));
    QJsonObject d;
    d.insert(QStringLiteral("internal"), true);
    d.insert(QStringLiteral("ejectable"), false);
    d.insert(QStringLiteral("removable"), false);
    d.insert(QStringLiteral("solidState"), true);
    d.insert(QStringLiteral("bus"),
             system.value(QStringLiteral("bus"))
                 .toString(shape == QLatin1String("hfs") ? QStringLiteral("SATA")
                                                         : QStringLiteral("PCI-Express")));
    d.insert(QStringLiteral("mediaName"),
             system.value(QStringLiteral("mediaName")).toString(QStringLiteral("APPLE SSD SM0512G")));
    d.insert(QStringLiteral("size"), system.contains(QStringLiteral("size"))
                                         ? system.value(QStringLiteral("size"))
                                         : QJsonValue(QStringLiteral("500.28GB")));
    d.insert(QStringLiteral("scheme"), QStringLiteral("GPT"));
    const QJsonValue used = system.value(QStringLiteral("used")).isUndefined()
                                ? QJsonValue(QStringLiteral("20GB"))
                                : system.value(QStringLiteral("used"));
    QJsonArray parts;
    if (shape == QLatin1String("hfs")) {
        QJsonObject root;
        root.insert(QStringLiteral("fs"), QStringLiteral("JHFS+"));
        root.insert(QStringLiteral("name"), name);
        root.insert(QStringLiteral("mounted"), true);
        root.insert(QStringLiteral("mountPoint"), QStringLiteral("/"));
        root.insert(QStringLiteral("used"), used);
        QJsonObject recovery;
        recovery.insert(QStringLiteral("content"), QStringLiteral("Apple_Boot"));
        recovery.insert(QStringLiteral("fs"), QStringLiteral("JHFS+"));
        recovery.insert(QStringLiteral("name"), QStringLiteral("Recovery HD"));
        recovery.insert(QStringLiteral("mounted"), false);
        recovery.insert(QStringLiteral("size"), 650002432);
        parts << root << recovery;
    } else {
        const QString group = m.newUUID();
        QJsonArray volumes;
        // Every system container has the helper volumes; 10.15 and later a data volume too.
        const auto addHelpers = [&] {
            for (const QString& role :
                 {QStringLiteral("Preboot"), QStringLiteral("Recovery"), QStringLiteral("VM")})
                volumes << apfsVolume(role, role, QString(), true, QString());
        };
        const QJsonObject data = apfsVolume(name + QStringLiteral(" - Data"), QStringLiteral("Data"),
                                            QStringLiteral("/System/Volumes/Data"), true, group);
        if (shape == QLatin1String("apfs")) {
            QJsonObject sys =
                apfsVolume(name, QStringLiteral("System"), QStringLiteral("/"), true, QString());
            sys.insert(QStringLiteral("used"), used);
            volumes << sys;
            addHelpers();
        } else if (shape == QLatin1String("catalina")) {
            QJsonObject sys = apfsVolume(name, QStringLiteral("System"), QStringLiteral("/"), false, group);
            sys.insert(QStringLiteral("used"), used);
            volumes << data;
            addHelpers();
            volumes << sys;
        } else {
            QJsonObject sys = apfsVolume(name, QStringLiteral("System"), QStringLiteral("/"), false, group);
            sys.insert(QStringLiteral("used"), used);
            QString hex;
            for (int i = 0; i < 4; ++i)
                hex += m.newUUID().remove(QLatin1Char('-'));
            sys.insert(QStringLiteral("snapshot"), QStringLiteral("com.apple.os.update-") + hex.left(64));
            sys.insert(QStringLiteral("snapshotUUID"), m.newUUID());
            volumes << sys << data;
            addHelpers();
        }
        QJsonObject store;
        store.insert(QStringLiteral("volumes"), volumes);
        parts << store;
    }
    d.insert(QStringLiteral("partitions"), parts);
    return d;
}

bool installTool(const QString& binary, const QString& target) {
    QDir().mkpath(QFileInfo(target).absolutePath());
    QFile::remove(target);
    // A hard link when the build and the machine share a file system, a copy otherwise: the
    // tool must live inside the machine, since it finds the machine from its own location.
    if (::link(QFile::encodeName(binary).constData(), QFile::encodeName(target).constData()) == 0)
        return true;
    return QFile::copy(binary, target);
}

void writeText(const QString& path, const QByteArray& text) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(text);
}

} // namespace

int mkmachineMain(const QStringList& args) {
    QTextStream err(stderr);
    if (args.size() != 2) {
        err << "usage: mkmachine SCENARIO.json DIR\n";
        return 2;
    }
    QFile file(args.at(0));
    if (!file.open(QIODevice::ReadOnly)) {
        err << "mkmachine: cannot read " << args.at(0) << "\n";
        return 1;
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!doc.isObject()) {
        err << "mkmachine: " << args.at(0) << ": " << parseError.errorString() << " at offset "
            << parseError.offset << "\n";
        return 1;
    }
    const QJsonObject scenario = doc.object();
    const QString root = QDir(args.at(1)).absolutePath();
    if (QFileInfo::exists(root + QStringLiteral("/var/emulator/state.json"))) {
        err << "mkmachine: " << root << " already holds a machine\n";
        return 1;
    }
    QDir().mkpath(root);

    MachineState m(root);
    StateLock lock(m);
    m.version = scenario.value(QStringLiteral("version")).toString(QStringLiteral("10.15.7"));
    m.build = scenario.value(QStringLiteral("build")).toString(defaultBuild(m.version));
    m.user = scenario.value(QStringLiteral("user")).toString(QStringLiteral("tester"));
    const QJsonObject system = scenario.value(QStringLiteral("system")).toObject();
    m.shape = system.value(QStringLiteral("shape")).toString(shapeFor(m.version));
    m.asr = scenario.value(QStringLiteral("asr")).toObject();
    const QJsonValue throttle = scenario.value(QStringLiteral("writeThrottle"));
    m.writeThrottle = throttle.isDouble()   ? throttle.toInteger()
                      : throttle.isString() ? parseSize(throttle.toString(), SizeUnits::Scenario)
                                            : 0;
    m.authorization = scenario.value(QStringLiteral("authorization")).toString(QStringLiteral("approve"));
    for (const QJsonValue& v :
         scenario.value(QStringLiteral("processes")).toArray(QJsonArray{QStringLiteral("mds_stores")}))
        m.processes << v.toString();
    for (const QJsonValue& v : scenario.value(QStringLiteral("faults")).toArray())
        m.faults << MachineState::faultFromJson(v.toObject());

    // The system tree of "/".
    for (const char* folder : {"Applications", "Library/Preferences", "System/Library/CoreServices",
                               "Users/Shared", "private/var", "private/etc", "tmp", "Volumes", "var/log",
                               "var/emulator", "usr/sbin", "usr/bin", "usr/local/bin", "proc/self", "dev"})
        QDir(root).mkpath(QString::fromLatin1(folder));
    QDir(root).mkpath(QStringLiteral("Users/") + m.user + QStringLiteral("/Desktop"));
    QDir(root).mkpath(QStringLiteral("Users/") + m.user + QStringLiteral("/Documents"));
    writeText(root + QStringLiteral("/System/Library/CoreServices/SystemVersion.plist"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
              "\t<key>ProductBuildVersion</key>\n\t<string>" +
                  m.build.toUtf8() + "</string>\n\t<key>ProductVersion</key>\n\t<string>" +
                  m.version.toUtf8() + "</string>\n</dict>\n</plist>\n");
    for (const char* app : {"Safari.app", "TextEdit.app", "Utilities"})
        QDir(root).mkpath(QStringLiteral("Applications/") + QLatin1String(app) + QStringLiteral("/Contents"));
    writeText(root + QStringLiteral("/Applications/TextEdit.app/Contents/Info.plist"), QByteArray(2048, 'x'));
    writeText(root + QStringLiteral("/Library/Preferences/com.apple.loginwindow.plist"),
              QByteArray(512, 'y'));
    // The privacy database opens only for a program with Full Disk Access; an emulated Mac
    // without it for Tavrill does not show the file at all.
    if (scenario.value(QStringLiteral("fullDiskAccess")).toBool(true))
        writeText(root + QStringLiteral("/Library/Application Support/com.apple.TCC/TCC.db"),
                  QByteArray("SQLite format 3"));
    seedFolder(root + QStringLiteral("/Users/") + m.user, scenario.value(QStringLiteral("home")).toObject());

    // Disks: the system disk first (disk0 and its container), then the scenario's.
    m.addDisk(systemDisk(system, m.shape, m));
    for (const QJsonValue& v : scenario.value(QStringLiteral("disks")).toArray())
        m.addDisk(v.toObject());
    if (Partition* sys = m.systemVolume()) {
        // On a Mac, /Volumes holds the system volume's name pointing at "/".
        QFile::link(QStringLiteral(".."), root + QStringLiteral("/Volumes/") + sys->name);
    }

    // The tools: one binary that acts by the name it is called under.
    const QString binary = executablePath();
    const QString toolBinary = QFileInfo(binary).absolutePath() + QStringLiteral("/emutool");
    const QStringList tools = {QStringLiteral("usr/sbin/diskutil"), QStringLiteral("usr/sbin/asr"),
                               QStringLiteral("usr/bin/hdiutil"),   QStringLiteral("usr/bin/zip"),
                               QStringLiteral("usr/bin/sw_vers"),   QStringLiteral("usr/bin/killall"),
                               QStringLiteral("usr/bin/chmod"),     QStringLiteral("usr/bin/caffeinate"),
                               QStringLiteral("usr/bin/osascript"), QStringLiteral("usr/local/bin/emuctl")};
    for (const QString& t : tools) {
        if (!installTool(toolBinary, root + QLatin1Char('/') + t)) {
            err << "mkmachine: cannot install " << t << " from " << toolBinary << "\n";
            return 1;
        }
    }
    if (!m.save()) {
        err << "mkmachine: cannot write the machine's state\n";
        return 1;
    }
    // Disk images: made from a seeded folder, attached when the scenario says so.
    for (const QJsonValue& v : scenario.value(QStringLiteral("images")).toArray()) {
        const QJsonObject image = v.toObject();
        const QString path = image.value(QStringLiteral("path")).toString();
        const QString staging = root + QStringLiteral("/var/emulator/staging");
        QDir(staging).removeRecursively();
        seedFolder(staging, image.value(QStringLiteral("seed")).toObject());
        QDir().mkpath(staging);
        ImageHeader header;
        header.volumeName = image.value(QStringLiteral("volname")).toString(QStringLiteral("untitled"));
        header.capacity = parseSize(image.value(QStringLiteral("size")).toString(QStringLiteral("100m")),
                                    SizeUnits::Hdiutil);
        header.fs = image.value(QStringLiteral("fs")).toString(QStringLiteral("hfs"));
        QString error;
        QDir().mkpath(QFileInfo(m.host(path)).absolutePath());
        const bool written = writeImage(m.host(path), header, staging, &error);
        QDir(staging).removeRecursively();
        if (!written) {
            err << "mkmachine: cannot write the image " << path << ": " << error << "\n";
            return 1;
        }
        if (image.value(QStringLiteral("attach")).toBool(false)) {
            Output o;
            if (hdiutilMain(m, {QStringLiteral("attach"), path}, o) != 0) {
                err << "mkmachine: cannot attach " << path << ": " << o.err;
                return 1;
            }
        }
    }
    QTextStream(stdout) << root << "\n";
    return 0;
}

} // namespace emu
