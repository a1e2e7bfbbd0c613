#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <stdexcept>

// What every benchmark shares: the size option, a temporary emulated Mac for the data, timing
// of the engine and of a baseline command, and the printed comparison.
//
// Generated data lives only inside a BenchMachine and goes with it: a failure is thrown (never
// an exit from the middle of the program), so the stack unwinds and every BenchMachine removes
// its folder; an interrupt or termination signal removes the folders still alive before the
// program dies of that signal.
struct BenchOptions {
    double scale = 1.0; // --scale=F, --quick = 0.1
    int repeats = 3;    // --repeats=N: the best of N runs counts, for both sides
};

// A failure that ends the benchmark.
class BenchFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void benchFail(const QString& message);

// Parses the options and runs body; answers the process's exit status: 0, 1 after a failure
// (printed), 2 for a usage error.
int runBenchmark(int argc, char** argv, const std::function<void(const BenchOptions&)>& body);

// A temporary folder used as the Machine's root (so engines see Mac paths such as
// /Volumes/Bench) for the life of the object, removed with everything in it at the end.
class BenchMachine {
public:
    BenchMachine();
    ~BenchMachine();
    BenchMachine(const BenchMachine&) = delete;
    BenchMachine& operator=(const BenchMachine&) = delete;

    QString root() const { return m_dir.path(); }
    QString host(const QString& macPath) const { return m_dir.path() + macPath; }

private:
    QTemporaryDir m_dir;
};

// Seconds taken by fn.
double timeIt(const std::function<void()>& fn);
// Seconds taken by a command (its output discarded); fails the benchmark when the command does.
double timeCommand(const QStringList& argv);
// Output of a command.
QByteArray commandOutput(const QStringList& argv);
// Flushes dirty pages, so that one side's writes are not paid for by the other.
void syncDisks();
// Flushes dirty pages and drops the page, folder and inode caches, so that the next reads come
// from the disk; false where the system does not allow it (it needs root).
bool dropCaches();
void removeTree(const QString& host);

// Fills a folder with entries named entry0, entry1, ...: files of up to 3,000 bytes and, one
// entry in fifty, an empty folder; then flushes them to disk.
void writeFlatFolder(const QString& host, int entries);

// Writes length bytes of varied content.
void writeData(const QString& host, qint64 length, unsigned seed);

// Prints "label: engine X s, baseline Y s, ratio R (target T)"; ratio = baseline / engine for
// speed (higher is better).
void printSpeedRatio(const char* label, double engineSeconds, double baselineSeconds, const char* target);
