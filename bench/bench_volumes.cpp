// Time of the volume scans on emulated Macs: the mounted-volume scan (doGetAllVolume_), the
// picker's whole-USB-disk scan, the target-drive listing (QvGetUSBThreadImp) and the Disk
// Manager's listing (listVolumes), on the demo machine and on the twenty-volume machine. Each
// scan is split into the time its disk-tool runs take (the same command lines replayed through
// the same runner) and Tavrill's own time around them (listing /Volumes, the mount table,
// parsing, records). Prints only; no budget is checked.

#include "EmulatedMac.h"
#include "core/CommandRunner.h"
#include "diskmanager/DiskManagerEngine.h"
#include "osclone/QvUSBControl.h"
#include "volumes/VolumeEnumerator.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

double seconds(const std::function<void()>& fn) {
    QElapsedTimer t;
    t.start();
    fn();
    return double(t.nsecsElapsed()) / 1e9;
}

struct Figure {
    double total = 1e9;  // best of the runs
    double tools = 1e9;  // best replay of the same tool runs
    qsizetype calls = 0; // tool runs per scan
    qsizetype records = 0;
};

// Runs `scan` `repeats` times, then replays the command lines of one scan through the drive
// picker's runner with the answer read back, as the scan does.
Figure measure(const EmulatedMac& mac, int repeats, const std::function<qsizetype()>& scan) {
    Figure f;
    for (int i = 0; i < repeats; ++i) {
        mac.clearLog();
        qsizetype records = 0;
        f.total = std::min(f.total, seconds([&] { records = scan(); }));
        f.records = records;
    }
    const QStringList lines = mac.commandLines(QStringLiteral("diskutil"));
    f.calls = lines.size();
    for (int i = 0; i < repeats; ++i) {
        f.tools = std::min(f.tools, seconds([&] {
                               for (const QString& line : lines)
                                   runForDictionary(Runner::Exec, line.toUtf8());
                           }));
    }
    return f;
}

void print(const char* machine, const char* scan, const Figure& f) {
    const double own = std::max(0.0, f.total - f.tools);
    std::printf("%-16s %-34s %3lld records %3lld tool runs: total %7.1f ms, tool runs %7.1f ms, own %6.1f ms "
                "(%4.1f%%), "
                "%5.1f ms per tool run\n",
                machine, scan, static_cast<long long>(f.records), static_cast<long long>(f.calls),
                f.total * 1e3, f.tools * 1e3, own * 1e3, f.total > 0 ? 100.0 * own / f.total : 0.0,
                f.calls ? f.total * 1e3 / double(f.calls) : 0.0);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int repeats = 5;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (arg.startsWith("--repeats="))
            repeats = std::max(1, arg.mid(10).toInt());
        else if (arg == "--quick")
            repeats = 1;
    }
    for (const char* scenario : {"demo", "twenty-volumes"}) {
        auto mac = EmulatedMac::fromScenario(QString::fromLatin1(scenario));
        if (!mac->isValid()) {
            std::fprintf(stderr, "%s: %s\n", scenario, qPrintable(mac->error()));
            return 1;
        }
        print(scenario, "mounted volumes (doGetAllVolume_)", measure(*mac, repeats, [] {
                  VolumeEnumerator e;
                  e.doGetAllVolume_();
                  return e.allVolumeArr().size();
              }));
        print(scenario, "picker USB disks (QvGetUSBThreadImp)", measure(*mac, repeats, [] {
                  VolumeEnumerator e;
                  e.QvGetUSBThreadImp();
                  return e.allVolumeArr().size();
              }));
        print(scenario, "drive control (QvGetUSBThreadImp)", measure(*mac, repeats, [] {
                  QvUSBControl control;
                  control.QvGetUSBThreadImp();
                  return control.QvGetUSBList().size();
              }));
        print(scenario, "disk manager (listVolumes)",
              measure(*mac, repeats, [] { return DiskManagerEngine::listVolumes().size(); }));
    }
    return 0;
}
