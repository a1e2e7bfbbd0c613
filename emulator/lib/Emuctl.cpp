// emuctl: changes a running emulated Mac from outside, as a person at the desk would: plugs
// and pulls disks, sets fault knobs, and reads files out of disk images.

#include "EmuTools.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>

namespace emu {

namespace {

QJsonValue parseValue(const QString& text) {
    const QJsonDocument doc = QJsonDocument::fromJson("[" + text.toUtf8() + "]");
    if (doc.isArray() && doc.array().size() == 1)
        return doc.array().at(0);
    return QJsonValue(text);
}

QJsonObject objectArg(const QString& arg, QString* error) {
    QByteArray text = arg.toUtf8();
    if (arg.startsWith(QLatin1Char('@'))) {
        QFile f(arg.mid(1));
        if (!f.open(QIODevice::ReadOnly)) {
            *error = QStringLiteral("cannot read ") + arg.mid(1);
            return {};
        }
        text = f.readAll();
    }
    QJsonParseError pe;
    const QJsonDocument doc = QJsonDocument::fromJson(text, &pe);
    if (!doc.isObject())
        *error = QStringLiteral("not a JSON object: ") + pe.errorString();
    return doc.object();
}

// A disk by id, by the name it was plugged under, by media name, or by any of its volumes.
Disk* findDisk(MachineState& m, const QString& what) {
    for (Disk& d : m.disks) {
        if (d.id == what || (!d.plugName.isEmpty() && d.plugName == what) ||
            (!d.mediaName.isEmpty() && d.mediaName == what))
            return &d;
    }
    Located l = m.locate(what);
    return l.disk ? m.physicalDiskOf(l.disk) : nullptr;
}

int usage(QTextStream& err) {
    err << "usage: emuctl [--root DIR] COMMAND\n"
           "  plug JSON|@FILE          connect a disk described as in a scenario; prints its id\n"
           "  unplug DISK              pull a disk out (id, scenario name, media name or a volume)\n"
           "  fault JSON|@FILE         add a fault knob\n"
           "  clear-faults             remove every fault knob\n"
           "  asr KEY VALUE            set an asr knob (delivery, pieceDelayMs, stepDelayMs, stopDelayMs,\n"
           "                           failAt, ...)\n"
           "  processes NAME...        the processes killall finds (none: no names)\n"
           "  throttle [VOLUME] SIZE   bytes a second written into VOLUME (default: every volume\n"
           "                           without a throttle of its own); 0 lifts it\n"
           "  authorize approve|deny|cancel  how the administrator dialog is answered\n"
           "  busy VOLUME PID PATH [PPID PPATH]\n"
           "                           a process holds files open on a mounted volume\n"
           "  release VOLUME           the process lets the volume go\n"
           "  image-extract IMAGE DIR  write the files inside a disk image (host path) into DIR\n"
           "  state                    print the machine's state\n";
    return 2;
}

} // namespace

int emuctlMain(const QStringList& argsIn) {
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList args = argsIn;
    QString root;
    if (args.size() >= 2 && args.first() == QLatin1String("--root")) {
        root = args.at(1);
        args = args.mid(2);
    }
    if (args.isEmpty())
        return usage(err);
    const QString command = args.first();
    if (command == QLatin1String("image-extract")) {
        if (args.size() != 3)
            return usage(err);
        QString error;
        if (!extractImage(args.at(1), args.at(2), &error)) {
            err << "emuctl: " << error << "\n";
            return 1;
        }
        return 0;
    }
    if (root.isEmpty())
        root = qEnvironmentVariable("TAVRILL_MACHINE_ROOT");
    if (root.isEmpty())
        root = rootFromExecutable();
    if (!QFileInfo::exists(root + QStringLiteral("/var/emulator/state.json"))) {
        err << "emuctl: no emulated Mac at " << root << "\n";
        return 1;
    }
    logInvocation(root, QStringLiteral("emuctl"), args);
    MachineState m(root);
    StateLock lock(m);
    m.load();
    QString error;
    if (command == QLatin1String("plug") && args.size() == 2) {
        const QJsonObject d = objectArg(args.at(1), &error);
        if (!error.isEmpty()) {
            err << "emuctl: " << error << "\n";
            return 1;
        }
        const QString id = m.addDisk(d).id;
        m.save();
        out << id << "\n";
        return 0;
    }
    if (command == QLatin1String("unplug") && args.size() == 2) {
        Disk* d = findDisk(m, args.at(1));
        if (!d) {
            err << "emuctl: no disk " << args.at(1) << "\n";
            return 1;
        }
        m.removeDisk(d->id);
        m.save();
        return 0;
    }
    if (command == QLatin1String("fault") && args.size() == 2) {
        const QJsonObject f = objectArg(args.at(1), &error);
        if (!error.isEmpty()) {
            err << "emuctl: " << error << "\n";
            return 1;
        }
        m.faults << MachineState::faultFromJson(f);
        m.save();
        return 0;
    }
    if (command == QLatin1String("clear-faults")) {
        m.faults.clear();
        m.save();
        return 0;
    }
    if (command == QLatin1String("asr") && args.size() == 3) {
        m.asr.insert(args.at(1), parseValue(args.at(2)));
        m.save();
        return 0;
    }
    if (command == QLatin1String("throttle") && (args.size() == 2 || args.size() == 3)) {
        const qint64 rate = parseSize(args.last(), SizeUnits::Scenario);
        if (rate <= 0 && args.last() != QLatin1String("0")) {
            err << "emuctl: not a size: " << args.last() << "\n";
            return 1;
        }
        if (args.size() == 2) {
            m.writeThrottle = rate;
        } else {
            Located l = m.locate(args.at(1));
            if (!l.part || !l.part->hasVolume()) {
                err << "emuctl: no volume " << args.at(1) << "\n";
                return 1;
            }
            l.part->throttle = rate;
        }
        m.save();
        return 0;
    }
    if (command == QLatin1String("authorize") && args.size() == 2 &&
        QStringList{QStringLiteral("approve"), QStringLiteral("deny"), QStringLiteral("cancel")}.contains(
            args.at(1))) {
        m.authorization = args.at(1);
        m.save();
        return 0;
    }
    if (command == QLatin1String("processes")) {
        m.processes = args.mid(1);
        m.save();
        return 0;
    }
    if ((command == QLatin1String("busy") && (args.size() == 4 || args.size() == 6)) ||
        (command == QLatin1String("release") && args.size() == 2)) {
        Located l = m.locate(args.at(1));
        if (!l.part || !l.part->mounted) {
            err << "emuctl: no mounted volume " << args.at(1) << "\n";
            return 1;
        }
        const bool busy = command == QLatin1String("busy");
        const int pid = busy ? args.at(2).toInt() : 0;
        const int parentPid = busy && args.size() == 6 ? args.at(4).toInt() : 0;
        if (busy && (pid <= 0 || (args.size() == 6 && parentPid <= 0)))
            return usage(err);
        l.part->busyPid = pid;
        l.part->busyProcess = busy ? args.at(3) : QString();
        l.part->busyParentPid = parentPid;
        l.part->busyParent = parentPid > 0 ? args.at(5) : QString();
        m.save();
        return 0;
    }
    if (command == QLatin1String("state")) {
        QFile f(root + QStringLiteral("/var/emulator/state.json"));
        if (f.open(QIODevice::ReadOnly))
            out << f.readAll();
        return 0;
    }
    return usage(err);
}

} // namespace emu
