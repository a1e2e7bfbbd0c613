#include "BenchSupport.h"

#include "platform/Machine.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vector>

BenchOptions parseBenchOptions(int argc, char** argv) {
    BenchOptions options;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg = argv[i];
        if (arg == "--quick")
            options.scale = 0.1;
        else if (arg.startsWith("--scale="))
            options.scale = arg.mid(8).toDouble();
        else if (arg.startsWith("--repeats="))
            options.repeats = qMax(1, arg.mid(10).toInt());
        else {
            std::fprintf(stderr, "usage: %s [--scale=F | --quick] [--repeats=N]\n", argv[0]);
            std::exit(2);
        }
    }
    if (options.scale <= 0)
        options.scale = 1.0;
    return options;
}

BenchMachine::BenchMachine() : m_dir(QDir::tempPath() + QStringLiteral("/tavrill-bench-XXXXXX")) {
    QDir(m_dir.path()).mkpath(QStringLiteral("Volumes"));
    Machine::setRoot(m_dir.path());
}

BenchMachine::~BenchMachine() {
    Machine::setRoot(QString());
}

double timeIt(const std::function<void()>& fn) {
    QElapsedTimer timer;
    timer.start();
    fn();
    return double(timer.nsecsElapsed()) / 1e9;
}

double timeCommand(const QStringList& argv) {
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(argv.first(), argv.mid(1));
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        std::fprintf(stderr, "failed: %s\n", qPrintable(argv.join(' ')));
        std::exit(1);
    }
    return double(timer.nsecsElapsed()) / 1e9;
}

QByteArray commandOutput(const QStringList& argv) {
    QProcess process;
    process.start(argv.first(), argv.mid(1));
    process.waitForFinished(-1);
    return process.readAllStandardOutput();
}

void syncDisks() {
    ::sync();
}

void removeTree(const QString& host) {
    QDir(host).removeRecursively();
    QFile::remove(host);
}

void writeData(const QString& host, qint64 length, unsigned seed) {
    QDir().mkpath(host.section('/', 0, -2));
    QFile f(host);
    if (!f.open(QIODevice::WriteOnly)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(host));
        std::exit(1);
    }
    std::vector<char> block(1 << 20);
    unsigned x = seed * 2654435761u + 1;
    for (char& c : block) {
        x = x * 1103515245u + 12345u;
        c = char(x >> 24);
    }
    for (qint64 done = 0; done < length;) {
        const qint64 n = qMin<qint64>(qint64(block.size()), length - done);
        f.write(block.data(), n);
        block[size_t(done / qint64(block.size())) % block.size()] ^= 0x5a; // no two blocks alike
        done += n;
    }
}

void printSpeedRatio(const char* label, double engineSeconds, double baselineSeconds, const char* target) {
    std::printf("%-34s engine %8.3f s   baseline %8.3f s   ratio %5.2fx  (target %s)\n", label, engineSeconds,
                baselineSeconds, baselineSeconds / engineSeconds, target);
    std::fflush(stdout);
}
