#include "BenchSupport.h"

#include "platform/Machine.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// The folder of the live BenchMachine, for the signal handler (one machine at a time).
std::array<char, 4096> liveRoot{};
volatile std::sig_atomic_t haveLiveRoot = 0;

// Removes the live machine's folder and dies of the signal. Only async-signal-safe calls: the
// removal is left to rm in a child process.
extern "C" void removeDataAndDie(int signal) {
    if (haveLiveRoot) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::execl("/bin/rm", "rm", "-rf", "--", liveRoot.data(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        if (child > 0) {
            int status = 0;
            while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
            }
        }
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

std::optional<BenchOptions> parseBenchOptions(int argc, char** argv) {
    BenchOptions options;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg = argv[i];
        if (arg == "--quick")
            options.scale = 0.1;
        else if (arg.startsWith("--scale="))
            options.scale = arg.mid(8).toDouble();
        else if (arg.startsWith("--repeats="))
            options.repeats = qMax(1, arg.mid(10).toInt());
        else
            return std::nullopt;
    }
    if (options.scale <= 0)
        options.scale = 1.0;
    return options;
}

} // namespace

void benchFail(const QString& message) {
    throw BenchFailure(message.toStdString());
}

int runBenchmark(int argc, char** argv, const std::function<void(const BenchOptions&)>& body) {
    const std::optional<BenchOptions> options = parseBenchOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr, "usage: %s [--scale=F | --quick] [--repeats=N]\n", argv[0]);
        return 2;
    }
    try {
        body(*options);
        return 0;
    } catch (const std::exception& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "benchmark failed: %s\n", failure.what());
        return 1;
    }
}

BenchMachine::BenchMachine() : m_dir(QDir::tempPath() + QStringLiteral("/tavrill-bench-XXXXXX")) {
    if (!m_dir.isValid())
        benchFail(QStringLiteral("cannot make a temporary folder: %1").arg(m_dir.errorString()));
    QDir(m_dir.path()).mkpath(QStringLiteral("Volumes"));
    Machine::setRoot(m_dir.path());
    const QByteArray root = QFile::encodeName(m_dir.path());
    if (size_t(root.size()) < liveRoot.size()) {
        std::memcpy(liveRoot.data(), root.constData(), size_t(root.size()) + 1);
        std::atomic_signal_fence(std::memory_order_seq_cst); // the path is whole before the flag
        haveLiveRoot = 1;
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            std::signal(signal, removeDataAndDie);
    }
}

BenchMachine::~BenchMachine() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, SIG_DFL);
    haveLiveRoot = 0;
    Machine::setRoot(QString());
    // m_dir removes the folder as it goes
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
        process.exitCode() != 0)
        benchFail(QStringLiteral("failed: %1").arg(argv.join(' ')));
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

bool dropCaches() {
    ::sync();
    QFile control(QStringLiteral("/proc/sys/vm/drop_caches"));
    return control.open(QIODevice::WriteOnly) && control.write("3\n") == 2;
}

void removeTree(const QString& host) {
    QDir(host).removeRecursively();
    QFile::remove(host);
}

void writeFlatFolder(const QString& host, int entries) {
    QDir().mkpath(host);
    for (int i = 0; i < entries; ++i) {
        const QString path = host + QStringLiteral("/entry%1").arg(i);
        if (i % 50 == 0) {
            QDir().mkdir(path);
            continue;
        }
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly))
            benchFail(QStringLiteral("cannot write %1").arg(path));
        f.write(QByteArray((i * 7919) % 3001, 'y'));
    }
    syncDisks();
}

void writeData(const QString& host, qint64 length, unsigned seed) {
    QDir().mkpath(host.section('/', 0, -2));
    QFile f(host);
    if (!f.open(QIODevice::WriteOnly))
        benchFail(QStringLiteral("cannot write %1: %2").arg(host, f.errorString()));
    std::vector<char> block(1 << 20);
    unsigned x = seed * 2654435761u + 1;
    for (char& c : block) {
        x = x * 1103515245u + 12345u;
        c = char(x >> 24);
    }
    for (qint64 done = 0; done < length;) {
        const qint64 n = qMin<qint64>(qint64(block.size()), length - done);
        if (f.write(block.data(), n) != n)
            benchFail(QStringLiteral("cannot write %1: %2").arg(host, f.errorString()));
        block[size_t(done / qint64(block.size())) % block.size()] ^= 0x5a; // no two blocks alike
        done += n;
    }
}

void printSpeedRatio(const char* label, double engineSeconds, double baselineSeconds, const char* target) {
    std::printf("%-34s engine %8.3f s   baseline %8.3f s   ratio %5.2fx  (target %s)\n", label, engineSeconds,
                baselineSeconds, baselineSeconds / engineSeconds, target);
    std::fflush(stdout);
}
