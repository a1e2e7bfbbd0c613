// The emulated asr: "restore --source SRC --target TGT --erase [--noprompt]". It prints the
// real line grammar in the delivery mode the machine asks for, really copies the source's
// files onto the target volume and gives the target the source's name.

#include "EmuTools.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QThread>

#include <csignal>
#include <ctime>
#include <unistd.h>

#include <filesystem>

namespace emu {

namespace {

// Writes the tool's output as the delivery mode says: every piece on its own ("token"), a
// line at a time ("line") or everything at exit ("buffered"). Whatever the mode, what is
// pending is flushed before the tool reads its answer to the prompt.
//
// Without a mode set, the tool behaves as stdio does: on a terminal it writes as it goes; on a
// pipe it holds everything back but what it flushes before reading the answer.
class Delivery {
public:
    Delivery(const QString& mode, int pieceDelayMs) : m_mode(mode), m_delay(pieceDelayMs) {}
    ~Delivery() { flushAll(); }

    void piece(const QByteArray& text) {
        if (m_mode == QLatin1String("token")) {
            send(text);
            if (m_delay > 0)
                QThread::msleep(m_delay);
            return;
        }
        m_pending += text;
        if (m_mode == QLatin1String("line")) {
            const qsizetype nl = m_pending.lastIndexOf('\n');
            if (nl >= 0) {
                send(m_pending.left(nl + 1));
                m_pending.remove(0, nl + 1);
            }
        }
    }
    void flushAll() {
        if (!m_pending.isEmpty())
            send(m_pending);
        m_pending.clear();
    }

private:
    static void send(const QByteArray& b) { writeAll(STDOUT_FILENO, b); }
    QString m_mode;
    int m_delay;
    QByteArray m_pending;
};

// The files of the source in a stable order, as paths relative to the source folder.
QStringList sourceEntries(const QString& hostSource, const QStringList& topLevel) {
    namespace fs = std::filesystem;
    QStringList out;
    std::error_code ec;
    for (const QString& top : topLevel) {
        const fs::path start(QFile::encodeName(hostSource + QLatin1Char('/') + top).toStdString());
        if (!fs::exists(fs::symlink_status(start, ec)))
            continue;
        out << top;
        if (!fs::is_directory(fs::symlink_status(start, ec)))
            continue;
        for (auto it =
                 fs::recursive_directory_iterator(start, fs::directory_options::skip_permission_denied, ec);
             it != fs::recursive_directory_iterator(); it.increment(ec)) {
            if (ec)
                break;
            const QString rel =
                top + QLatin1Char('/') +
                QFile::decodeName(QByteArray::fromStdString(it->path().lexically_relative(start).string()));
            // The system's own mount folders are not part of the volume.
            if (rel.startsWith(QLatin1String("System/Volumes"))) {
                it.disable_recursion_pending();
                continue;
            }
            out << rel;
        }
    }
    return out;
}

void copyEntry(const QString& from, const QString& to) {
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::path src(QFile::encodeName(from).toStdString());
    const fs::path dst(QFile::encodeName(to).toStdString());
    const auto st = fs::symlink_status(src, ec);
    if (fs::is_symlink(st)) {
        fs::remove(dst, ec);
        fs::copy_symlink(src, dst, ec);
    } else if (fs::is_directory(st)) {
        fs::create_directories(dst, ec);
        fs::permissions(dst, fs::status(src, ec).permissions(), ec);
    } else if (fs::is_regular_file(st)) {
        fs::copy_file(src, dst, fs::copy_options::overwrite_existing, ec);
        fs::last_write_time(dst, fs::last_write_time(src, ec), ec);
    }
}

bool targetStillThere(MachineState& m, const QString& partId) {
    StateLock lock(m);
    m.load();
    Partition* p = m.partition(partId);
    return p && p->mounted;
}

// A restore told to stop (SIGTERM, SIGINT) first puts the target back in order, which takes a
// while: with the knob "stopDelayMs" the tool ends that long after the signal, by the signal.
int stopDelayMs = 0;

void endAfterStopDelay(int signal) {
    const timespec delay{stopDelayMs / 1000, (stopDelayMs % 1000) * 1000000L};
    ::nanosleep(&delay, nullptr);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

int failLine(Delivery& out, const QString& text) {
    out.piece(text.toUtf8() + '\n');
    out.flushAll();
    return 1;
}

} // namespace

int asrMain(MachineState& m, const QStringList& args) {
    StateLock lock(m);
    m.load();
    const QJsonObject knobs = m.asr;
    const QString stdioMode = ::isatty(STDOUT_FILENO) ? QStringLiteral("token") : QStringLiteral("buffered");
    Delivery out(knobs.value(QStringLiteral("delivery")).toString(stdioMode),
                 knobs.value(QStringLiteral("pieceDelayMs")).toInt(20));
    const int stepMs = knobs.value(QStringLiteral("stepDelayMs")).toInt(40);
    const int failAt = knobs.value(QStringLiteral("failAt")).toInt(-1);
    const int failPass = knobs.value(QStringLiteral("failPass")).toInt(1);
    stopDelayMs = knobs.value(QStringLiteral("stopDelayMs")).toInt(0);
    if (stopDelayMs > 0)
        for (const int signal : {SIGTERM, SIGINT})
            std::signal(signal, endAfterStopDelay);

    // asr works on disks only as root; how the real one words its refusal is not recorded
    // anywhere public, so the emulator takes its manual's sentence.
    if (!runsAsRoot())
        return failLine(out, QStringLiteral("asr needs to be run as root (see sudo(8))"));

    const QString source = option(args, QStringLiteral("--source"));
    const QString target = option(args, QStringLiteral("--target"));
    if (args.value(0) != QLatin1String("restore") || source.isEmpty() || target.isEmpty())
        return failLine(
            out, QStringLiteral("Usage: asr restore --source <source> --target <target> --erase [options]"));
    if (!args.contains(QStringLiteral("--erase")))
        return failLine(
            out, QStringLiteral("Could not restore - asr no longer supports file copying; use --erase"));

    out.piece("\tValidating target...");
    Located tgt = m.locate(target);
    if (!tgt.part || !tgt.part->mounted || !tgt.part->hasVolume()) {
        out.piece("\n");
        return failLine(out, QStringLiteral("Could not validate target - No such file or directory"));
    }
    out.piece("done\n");
    out.piece("\tValidating source...");
    Located src = m.locate(source);
    if (!src.part || !src.part->mounted) {
        out.piece("\n");
        return failLine(out, QStringLiteral("Could not validate source - No such file or directory"));
    }
    if (src.part == tgt.part) {
        out.piece("\n");
        return failLine(out, QStringLiteral("Could not validate source - Invalid argument"));
    }
    out.piece("done\n");
    const QString targetId = tgt.part->id;
    const QString targetDevice = QStringLiteral("/dev/") + targetId;
    const QString targetMount = tgt.part->mountPoint;
    const QString sourceName = src.part->name;
    const QString hostSource = m.contentFolder(*src.part);
    const bool sourceIsRoot = src.part->mountPoint == QLatin1String("/");
    const QString shape = m.shape;
    lock.unlock();

    if (!args.contains(QStringLiteral("--noprompt"))) {
        out.piece(
            QStringLiteral("\tErase contents of %1 (%2)? [ny]: ").arg(targetDevice, targetMount).toUtf8());
        out.flushAll();
        char answer = 0;
        const ssize_t n = ::read(STDIN_FILENO, &answer, 1);
        out.piece("\n");
        if (n != 1 || (answer != 'y' && answer != 'Y'))
            return failLine(out, QStringLiteral("Could not restore - Operation canceled"));
    }

    QStringList passes;
    for (const QJsonValue& v : knobs.value(QStringLiteral("passes")).toArray())
        passes << v.toString();
    if (passes.isEmpty()) {
        if (shape == QLatin1String("sealed") || shape == QLatin1String("catalina"))
            passes = {QStringLiteral("Replicating "), QStringLiteral("Replicating ")};
        else
            passes = {QStringLiteral("Restoring  "), QStringLiteral("Verifying  ")};
    }

    // The target is erased, then filled in ten steps during the first pass.
    QString hostTarget;
    {
        StateLock eraseLock(m);
        m.load();
        Partition* t = m.partition(targetId);
        if (!t || !t->mounted)
            return failLine(
                out, QStringLiteral("Couldn't set up partitions on target device - Device not configured"));
        hostTarget = m.contentFolder(*t);
        m.eraseContent(*t);
    }

    const QStringList top =
        sourceIsRoot
            ? QStringList{QStringLiteral("Applications"), QStringLiteral("Library"), QStringLiteral("System"),
                          QStringLiteral("Users"), QStringLiteral("private")}
            : QDir(hostSource)
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                             QDir::Name);
    const QStringList entries = sourceEntries(hostSource, top);
    qsizetype copied = 0;
    for (int pass = 0; pass < passes.size(); ++pass) {
        const QString label = passes.at(pass);
        out.piece((QLatin1Char('\t') + label).toUtf8());
        for (int step = 1; step <= 10; ++step) {
            if (pass == 0) {
                const qsizetype until = entries.size() * step / 10;
                for (; copied < until; ++copied)
                    copyEntry(hostSource + QLatin1Char('/') + entries.at(copied),
                              hostTarget + QLatin1Char('/') + entries.at(copied));
            }
            if (stepMs > 0)
                QThread::msleep(stepMs);
            if (!targetStillThere(m, targetId)) {
                out.piece("\n");
                return failLine(out,
                                (label.startsWith(QLatin1String("Replicating"))
                                     ? QStringLiteral("Volume replication failed - Device not configured")
                                     : QStringLiteral("Could not restore - Device not configured")));
            }
            out.piece("....");
            out.piece(QByteArray::number(step * 10));
            if (failAt == step * 10 && failPass == pass + 1) {
                out.piece("\n");
                return failLine(out,
                                knobs.value(QStringLiteral("failMessage"))
                                    .toString(QStringLiteral("Volume replication failed - error 49244")));
            }
        }
        out.piece("\n");
    }

    out.piece(QStringLiteral("\tRestored target device is %1.\n").arg(targetDevice).toUtf8());
    out.piece("\tRemounting target volume...");
    {
        StateLock renameLock(m);
        m.load();
        if (Partition* p = m.partition(targetId)) {
            // The clone carries the source's name and mounts under it.
            m.unmount(*p);
            p->name = sourceName;
            m.mount(*p);
            m.save();
        }
    }
    out.piece("done\n");
    out.piece("Restore completed successfully.\n");
    out.flushAll();
    return 0;
}

} // namespace emu
