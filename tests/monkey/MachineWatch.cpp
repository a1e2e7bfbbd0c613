#include "MachineWatch.h"

#include "EmulatedMac.h"
#include "TreeCompare.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

MachineWatch::MachineWatch(const EmulatedMac& mac) : m_mac(mac) {
    QFile log(m_mac.root() + QStringLiteral("/var/log/emulator.log"));
    m_logOffset = log.size();
    m_lastVolumes = volumesOf(readState());
}

QJsonObject MachineWatch::readState() const {
    QFile f(m_mac.root() + QStringLiteral("/var/emulator/state.json"));
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(f.readAll()).object();
}

QList<MachineWatch::Volume> MachineWatch::volumesOf(const QJsonObject& state) const {
    QList<Volume> out;
    for (const QJsonValue& d : state.value(QStringLiteral("disks")).toArray()) {
        const QJsonObject disk = d.toObject();
        Volume whole;
        whole.id = whole.disk = disk.value(QStringLiteral("id")).toString();
        whole.name = disk.value(QStringLiteral("mediaName")).toString();
        whole.whole = true;
        whole.image = disk.value(QStringLiteral("image")).toString();
        out << whole;
        for (const QJsonValue& p : disk.value(QStringLiteral("partitions")).toArray()) {
            const QJsonObject part = p.toObject();
            Volume v;
            v.id = part.value(QStringLiteral("id")).toString();
            v.disk = whole.id;
            v.name = part.value(QStringLiteral("name")).toString();
            v.uuid = part.value(QStringLiteral("uuid")).toString();
            v.diskUUID = part.value(QStringLiteral("diskUUID")).toString();
            v.mountPoint = part.value(QStringLiteral("mountPoint")).toString();
            v.fs = part.value(QStringLiteral("fs")).toString();
            v.mounted = part.value(QStringLiteral("mounted")).toBool();
            v.image = whole.image;
            out << v;
        }
    }
    return out;
}

QList<MachineWatch::Volume> MachineWatch::volumes() const {
    return volumesOf(readState());
}

bool MachineWatch::snapshot(const QString& folder) {
    m_snapshotFolder = folder;
    m_start = volumes();
    for (const Volume& v : std::as_const(m_start)) {
        if (!v.image.isEmpty())
            m_startImages.insert(v.disk);
        if (v.whole || !v.mounted || !v.mountPoint.startsWith(QLatin1String("/Volumes/")))
            continue;
        const QString source = m_mac.host(v.mountPoint);
        if (QFileInfo(source).isSymLink())
            continue; // the start-up volume's link
        QProcess cp;
        cp.start(QStringLiteral("cp"), {QStringLiteral("-a"), source, folder + QLatin1Char('/') + v.id});
        if (!cp.waitForFinished(120000) || cp.exitCode() != 0)
            return false;
    }
    return true;
}

QStringList MachineWatch::confirm(const QString& context, int action, int validFor) {
    QStringList ids;
    const QList<Volume> all = volumes();
    QSet<QString> disksWithNamedVolume;
    for (const Volume& v : all) {
        if (!v.whole && v.name.size() >= 2 && context.contains(v.name)) {
            ids << v.id;
            disksWithNamedVolume.insert(v.disk);
        }
    }
    // A drive named by its model alone (the clone's question) is agreed to as a whole.
    for (const Volume& v : all) {
        if (v.whole && v.name.size() >= 2 && context.contains(v.name) &&
            !disksWithNamedVolume.contains(v.disk))
            ids << v.id;
    }
    for (const QString& id : std::as_const(ids)) {
        m_confirmed[id] = action + validFor;
        m_everConfirmed.insert(id);
    }
    return ids;
}

const MachineWatch::Volume* MachineWatch::resolve(const QString& rawTarget, const QList<Volume>& a,
                                                  const QList<Volume>& b) const {
    QString target = rawTarget;
    if (target.startsWith(QLatin1String("/dev/")))
        target = target.mid(5);
    for (const QList<Volume>* list : {&a, &b}) {
        for (const Volume& v : *list) {
            if (v.id == target || (!v.uuid.isEmpty() && v.uuid == target) ||
                (!v.diskUUID.isEmpty() && v.diskUUID == target))
                return &v;
        }
        for (const Volume& v : *list) {
            if (v.mountPoint.size() > 1 &&
                (target == v.mountPoint || target.startsWith(v.mountPoint + QLatin1Char('/'))))
                return &v;
        }
    }
    return nullptr;
}

namespace {

// The target of a call that changes or takes away a volume; empty for any other call.
QString destructiveTarget(const QString& tool, const QStringList& argv) {
    const QString verb = argv.value(0);
    if (tool == QLatin1String("diskutil")) {
        if (verb == QLatin1String("eraseDisk") || verb == QLatin1String("eraseVolume") ||
            verb == QLatin1String("partitionDisk") || verb == QLatin1String("reformat") ||
            verb == QLatin1String("rename") || verb == QLatin1String("eject"))
            return verb == QLatin1String("eraseDisk") || verb == QLatin1String("eraseVolume") ? argv.last()
                                                                                              : argv.value(1);
        if ((verb == QLatin1String("unmount") || verb == QLatin1String("unmountDisk")) &&
            argv.value(1) == QLatin1String("force"))
            return argv.value(2);
    }
    if (tool == QLatin1String("asr") && argv.contains(QStringLiteral("restore")))
        return argv.value(argv.indexOf(QStringLiteral("--target")) + 1);
    if (tool == QLatin1String("hdiutil") && verb == QLatin1String("create")) {
        for (const QString& option : {QStringLiteral("-srcdevice"), QStringLiteral("-srcfolder")}) {
            const QString path = argv.value(argv.indexOf(option) + 1);
            if (argv.contains(option) &&
                (path.startsWith(QLatin1String("/dev/")) || path.startsWith(QLatin1String("/Volumes/"))))
                return path;
        }
    }
    return {};
}

} // namespace

QStringList MachineWatch::checkNewCalls(int action) {
    QStringList problems;
    const QList<Volume> now = volumes();
    QFile log(m_mac.root() + QStringLiteral("/var/log/emulator.log"));
    if (log.open(QIODevice::ReadOnly) && log.size() > m_logOffset) {
        log.seek(m_logOffset);
        const QByteArray data = log.readAll();
        const qsizetype end = data.lastIndexOf('\n') + 1; // a line still being written waits
        m_logOffset += end;
        for (const QByteArray& line : data.left(end).split('\n')) {
            const QJsonObject call = QJsonDocument::fromJson(line).object();
            if (call.isEmpty() || call.contains(QStringLiteral("event")))
                continue;
            const QString tool = call.value(QStringLiteral("tool")).toString();
            QStringList argv;
            for (const QJsonValue& a : call.value(QStringLiteral("argv")).toArray())
                argv << a.toString();
            const QString target = destructiveTarget(tool, argv);
            if (target.isEmpty())
                continue;
            ++m_destructive;
            const QString shown = tool + QLatin1Char(' ') + argv.join(QLatin1Char(' '));
            const Volume* v = resolve(target, m_lastVolumes, now);
            if (!v) {
                // A volume seen before and gone by now (pulled out while its row still showed):
                // the tool finds nothing to act on.
                if (!resolve(target, m_seen, {}))
                    problems << QStringLiteral("destructive call on an unknown target: %1").arg(shown);
                continue;
            }
            // An image attached during the run is Tavrill's own (the monkey attaches none): the
            // image it makes is mounted to be filled and then ejected, long after the user's
            // click, and that eject is the end of the work the click asked for.
            if (tool == QLatin1String("diskutil") && argv.value(0) == QLatin1String("eject") &&
                !v->image.isEmpty() && !m_startImages.contains(v->disk))
                continue;
            const auto valid = [&](const QString& id) { return m_confirmed.value(id, -1) >= action; };
            const bool ok = v->whole ? valid(v->disk) : (valid(v->id) || valid(v->disk));
            if (!ok)
                problems << QStringLiteral("destructive call without the user's confirmation for %1 (%2): %3")
                                .arg(v->id, v->name, shown);
        }
    }
    m_lastVolumes = now;
    for (const Volume& v : now) {
        const QString key = v.id + QLatin1Char('|') + v.uuid;
        if (!m_seenKeys.contains(key)) {
            m_seenKeys.insert(key);
            m_seen << v;
        }
    }
    return problems;
}

QStringList MachineWatch::endProblems(const QList<qint64>& runningTools) const {
    QStringList problems;
    for (qint64 pid : runningTools)
        problems << QStringLiteral("tool process %1 still running after the application ended").arg(pid);
    const QList<Volume> now = volumes();
    for (const Volume& v : now) {
        if (v.whole && !v.image.isEmpty() && !m_startImages.contains(v.disk))
            problems << QStringLiteral("image %1 still attached as %2").arg(v.image, v.disk);
    }
    for (const Volume& before : m_start) {
        if (before.whole || everConfirmed(before.id) || everConfirmed(before.disk))
            continue;
        const auto it = std::find_if(now.begin(), now.end(), [&](const Volume& v) {
            return v.id == before.id && v.uuid == before.uuid;
        });
        if (it == now.end())
            continue; // pulled out by the monkey (a disk plugged later may reuse the id)
        if (it->name != before.name || it->fs != before.fs || it->mounted != before.mounted ||
            it->mountPoint != before.mountPoint) {
            problems << QStringLiteral("unconfirmed volume %1 (%2) changed: now %3 %4 %5")
                            .arg(before.id, before.name, it->name, it->fs, it->mountPoint);
            continue;
        }
        const QString copy = m_snapshotFolder + QLatin1Char('/') + before.id;
        if (!QFileInfo::exists(copy))
            continue;
        const QStringList diff = compareTrees(copy, m_mac.host(before.mountPoint));
        for (const QString& d : diff)
            problems << QStringLiteral("unconfirmed volume %1 (%2): %3").arg(before.id, before.name, d);
    }
    return problems;
}
