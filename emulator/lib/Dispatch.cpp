// Runs one emulated tool: logs the call, lets the fault knobs have their say, and writes what
// the tool printed. Also the small tools: sw_vers, killall, caffeinate, and the wrappers that
// run the host's own zip and chmod on the emulated Mac's paths.

#include "EmuTools.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <signal.h>
#include <unistd.h>

namespace emu {

void writeAll(int fd, const QByteArray& b) {
    qsizetype done = 0;
    while (done < b.size()) {
        const ssize_t n = ::write(fd, b.constData() + done, size_t(b.size() - done));
        if (n <= 0)
            return;
        done += n;
    }
}

QString option(const QStringList& args, const QString& name) {
    const qsizetype i = args.indexOf(name);
    return i >= 0 && i + 1 < args.size() ? args.at(i + 1) : QString();
}

namespace {

bool argNames(const QStringList& args, const QString& device) {
    for (const QString& a : args) {
        if (a == device || a == QStringLiteral("/dev/") + device)
            return true;
    }
    return false;
}

// Takes the first fault that matches this call, counting it down.
bool takeFault(MachineState& m, const QString& tool, const QStringList& args, Fault* out) {
    StateLock lock(m);
    if (!m.load())
        return false;
    const QString verb = args.value(0);
    for (qsizetype i = 0; i < m.faults.size(); ++i) {
        Fault& f = m.faults[i];
        if (f.tool != tool || (f.unlessRoot && runsAsRoot()))
            continue;
        if (!f.verb.isEmpty() && f.verb.compare(verb, Qt::CaseInsensitive) != 0)
            continue;
        if (!f.device.isEmpty() && !argNames(args, f.device))
            continue;
        *out = f;
        if (f.times > 0) {
            if (--f.times == 0)
                m.faults.removeAt(i);
            m.save();
        }
        return true;
    }
    return false;
}

// The message a tool prints when a "fail" knob gives none.
void defaultFailure(const QString& tool, const QStringList& args, Output& o) {
    const QString verb = args.value(0).toLower();
    if (tool == QLatin1String("diskutil")) {
        if ((verb == QLatin1String("info") || verb == QLatin1String("list")) &&
            args.contains(QStringLiteral("-plist"))) {
            // The error property list on standard output, as for an unknown disk.
            o.out +=
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                "<plist version=\"1.0\">\n<dict>\n\t<key>Error</key>\n\t<true/>\n\t<key>ErrorMessage</key>\n"
                "\t<string>Could not find disk: " +
                args.last().toHtmlEscaped().toUtf8() +
                "</string>\n\t<key>ExitCode</key>\n\t<integer>1</integer>\n</dict>\n</plist>\n";
        } else {
            o.error(QStringLiteral("Error: -69888: Couldn't unmount disk"));
        }
    } else if (tool == QLatin1String("hdiutil")) {
        o.error(QStringLiteral("hdiutil: %1 failed - Resource busy").arg(verb));
    } else if (tool == QLatin1String("asr")) {
        o.line(QStringLiteral("Could not validate source - Invalid argument"));
    } else if (tool == QLatin1String("killall")) {
        o.error(QStringLiteral("No matching processes belonging to you were found"));
    } else if (tool == QLatin1String("zip")) {
        o.error(QStringLiteral("zip I/O error: No space left on device"));
        o.error(QStringLiteral("zip error: Output file write failure (write error on zip file)"));
    }
}

// Runs a host tool on the emulated Mac. Called from a folder of the machine, it stays there:
// relative paths mean what they mean on the Mac, and absolute Mac paths become host paths.
// Called from elsewhere, absolute Mac paths become paths relative to the root and the tool runs
// in the root, so what it prints shows the Mac's paths.
int runHostTool(MachineState& m, const QByteArray& hostTool, const QString& name, const QStringList& args) {
    if (::access(hostTool.constData(), X_OK) != 0) {
        writeAll(STDERR_FILENO, name.toUtf8() + ": the host has no " + hostTool + "\n");
        return 127;
    }
    const QString root = QDir(m.root()).canonicalPath();
    const QString here = QDir::current().canonicalPath();
    const bool inMachine = here == root || here.startsWith(root + QLatin1Char('/'));
    QList<QByteArray> storage;
    storage << QFile::encodeName(name);
    for (const QString& a : args) {
        QString mapped = a;
        if (inMachine && a.startsWith(QLatin1Char('/')))
            mapped = root + a;
        else if (a == QLatin1String("/"))
            mapped = QStringLiteral(".");
        else if (a.startsWith(QLatin1Char('/')))
            mapped = a.mid(1);
        storage << QFile::encodeName(mapped);
    }
    std::vector<char*> argv;
    for (QByteArray& s : storage)
        argv.push_back(s.data());
    argv.push_back(nullptr);
    if (!inMachine && ::chdir(QFile::encodeName(m.root()).constData()) != 0)
        return 1;
    ::execv(hostTool.constData(), argv.data());
    return 127;
}

QString productName(const QString& version) {
    return version.section(QLatin1Char('.'), 0, 0).toInt() >= 11 ? QStringLiteral("macOS")
                                                                 : QStringLiteral("Mac OS X");
}

} // namespace

int swVersMain(MachineState& m, const QStringList& args, Output& o) {
    m.load();
    const QString arg = args.value(0);
    if (arg == QLatin1String("-productVersion")) {
        o.line(m.version);
    } else if (arg == QLatin1String("-buildVersion")) {
        o.line(m.build);
    } else if (arg == QLatin1String("-productName")) {
        o.line(productName(m.version));
    } else if (!arg.isEmpty()) {
        o.fail(QStringLiteral("usage: sw_vers [-productName|-productVersion|-buildVersion]"));
    } else if (productName(m.version) == QLatin1String("macOS")) {
        o.line(QStringLiteral("ProductName:\t\tmacOS"));
        o.line(QStringLiteral("ProductVersion:\t\t") + m.version);
        o.line(QStringLiteral("BuildVersion:\t\t") + m.build);
    } else {
        o.line(QStringLiteral("ProductName:\tMac OS X"));
        o.line(QStringLiteral("ProductVersion:\t") + m.version);
        o.line(QStringLiteral("BuildVersion:\t") + m.build);
    }
    return o.code;
}

int killallMain(MachineState& m, const QStringList& args, Output& o) {
    m.load();
    bool found = false;
    for (const QString& a : args) {
        if (!a.startsWith(QLatin1Char('-')) && m.processes.contains(a))
            found = true;
    }
    if (args.isEmpty()) {
        o.fail(QStringLiteral(
            "usage: killall [-delmsvqz] [-help] [-I] [-u user] [-t tty] [-c cmd] [-SIGNAL] [cmd]..."));
    } else if (!found) {
        o.fail(QStringLiteral("No matching processes belonging to you were found"));
    }
    return o.code;
}

namespace {

volatile std::sig_atomic_t caffeinateStop = 0;

void stopCaffeinate(int) {
    caffeinateStop = 1;
}

} // namespace

int caffeinateMain(MachineState& m, const QStringList& args) {
    // Its start is the logged call; its end is logged as it leaves, told to or because the
    // process it waits for (-w) has ended.
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        std::signal(signal, stopCaffeinate);
    const qint64 waitFor = option(args, QStringLiteral("-w")).toLongLong();
    while (!caffeinateStop) {
        if (waitFor > 0 && ::kill(pid_t(waitFor), 0) != 0 && errno == ESRCH)
            break;
        QThread::msleep(50);
    }
    logInvocation(m.root(), QStringLiteral("caffeinate"), args, QStringLiteral("end"));
    return 0;
}

int dispatchTool(const QString& root, const QString& tool, const QStringList& args) {
    logInvocation(root, tool, args);
    MachineState m(root);
    Fault fault;
    const bool faulted = takeFault(m, tool, args, &fault);
    bool truncate = false;
    if (faulted) {
        if (fault.mode == QLatin1String("hang")) {
            QThread::sleep(static_cast<unsigned long>(qMax(0, fault.seconds)));
        } else if (fault.mode == QLatin1String("silent")) {
            return fault.exitCode < 0 ? 0 : fault.exitCode;
        } else if (fault.mode == QLatin1String("garbage")) {
            writeAll(STDOUT_FILENO, "\x01\x7f<<plist garbage>> %s %d \xff\xfe\n<dict><key>VolumeName\n");
            return fault.exitCode < 0 ? 0 : fault.exitCode;
        } else if (fault.mode == QLatin1String("fail")) {
            Output o;
            if (fault.message.isEmpty())
                defaultFailure(tool, args, o);
            else
                o.error(fault.message);
            writeAll(STDOUT_FILENO, o.out);
            writeAll(STDERR_FILENO, o.err);
            return fault.exitCode < 0 ? 1 : fault.exitCode;
        } else if (fault.mode == QLatin1String("truncated")) {
            truncate = true;
        }
    }
    if (tool == QLatin1String("asr"))
        return asrMain(m, args);
    if (tool == QLatin1String("osascript"))
        return osascriptMain(m, args);
    if (tool == QLatin1String("zip"))
        return runHostTool(m, "/usr/bin/zip", tool, args);
    if (tool == QLatin1String("chmod"))
        return runHostTool(m, "/bin/chmod", tool, args);
    if (tool == QLatin1String("caffeinate"))
        return caffeinateMain(m, args);
    Output o;
    if (tool == QLatin1String("diskutil"))
        diskutilMain(m, args, o);
    else if (tool == QLatin1String("hdiutil"))
        hdiutilMain(m, args, o);
    else if (tool == QLatin1String("sw_vers"))
        swVersMain(m, args, o);
    else if (tool == QLatin1String("killall"))
        killallMain(m, args, o);
    else {
        o.fail(tool + QStringLiteral(": not an emulated tool"), 127);
    }
    if (truncate) {
        o.out.truncate(o.out.size() / 2);
        o.code = fault.exitCode < 0 ? 0 : fault.exitCode;
    }
    writeAll(STDOUT_FILENO, o.out);
    writeAll(STDERR_FILENO, o.err);
    return o.code;
}

} // namespace emu
