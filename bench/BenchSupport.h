#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

// What every benchmark shares: the size option, a temporary emulated Mac for the data, timing
// of the engine and of a baseline command, and the printed comparison.
struct BenchOptions {
    double scale = 1.0; // --scale=F, --quick = 0.1
    int repeats = 3;    // --repeats=N: the best of N runs counts, for both sides
};

BenchOptions parseBenchOptions(int argc, char** argv);

// A temporary folder used as the Machine's root (so engines see Mac paths such as
// /Volumes/Bench) for the life of the object.
class BenchMachine {
public:
    BenchMachine();
    ~BenchMachine();
    QString host(const QString& macPath) const { return m_dir.path() + macPath; }

private:
    QTemporaryDir m_dir;
};

// Seconds taken by fn.
double timeIt(const std::function<void()>& fn);
// Seconds taken by a command (its output discarded); exits the program when it fails.
double timeCommand(const QStringList& argv);
// Output of a command.
QByteArray commandOutput(const QStringList& argv);
// Flushes dirty pages, so that one side's writes are not paid for by the other.
void syncDisks();
void removeTree(const QString& host);

// Writes length bytes of varied content.
void writeData(const QString& host, qint64 length, unsigned seed);

// Prints "label: engine X s, baseline Y s, ratio R (target T)"; ratio = baseline / engine for
// speed (higher is better).
void printSpeedRatio(const char* label, double engineSeconds, double baselineSeconds, const char* target);
