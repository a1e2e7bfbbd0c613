#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <atomic>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <random>
#include <thread>

class AppDelegate;
class EmulatedMac;
class MachineWatch;
class QAccessibleInterface;
class QWidget;

// Measures how late a timer on the main thread fires. Time the process's threads spent waiting
// for a CPU (the kernel's run-queue wait, /proc/self/task/*/schedstat, summed thread by thread
// and at most the whole gap) is taken off: on a shared machine that is other programs' time, not
// a stall of ours; a wait for a tool or a lock, asleep, still counts in full. The monkey pauses
// it while it does its own work (reading the machine, running emuctl).
class StallMeter : public QObject {
    Q_OBJECT
public:
    static constexpr int kIntervalMs = 40;
    StallMeter();
    ~StallMeter() override;
    // Pausing first measures up to now; resuming a running meter changes nothing, so the work an
    // action hands to the application is measured until the next tick.
    void pause();
    void resume();
    // The longest stall and the longest raw lateness since the last take, in ms.
    qint64 takeWorst();
    // How long the main thread itself ran during the worst stall since the last take: near the
    // whole stall it was computing, near nothing it waited (for a tool, a lock, the disk).
    qint64 worstOnCpuMs() const { return m_worstCpu; }
    // How long the host held every CPU of this machine during the worst stall: nothing here ran.
    qint64 worstStolenMs() const { return m_worstStolen; }
    // Where the main thread was seen during the worst stall since the last take: the system call
    // it was in and the kernel function it slept in (/proc/self/task/TID/syscall and wchan).
    QString worstSeenIn() const { return m_worstSeen; }
    qint64 worstRawMs() const { return m_worstRawEver; }
    qint64 worstEverMs() const { return m_worstEver; }

private:
    void tick();
    struct Sched {
        QHash<long, qint64> waitNs; // by thread id
        qint64 mainRunNs = 0;
        QList<qint64> stealNs; // by CPU: the time the host ran something else on it
    };
    Sched readSched() const;
    void watch();
    QString takeSeen();
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_last = 0;
    Sched m_lastSched;
    qint64 m_worst = 0;
    qint64 m_worstCpu = 0;
    qint64 m_worstStolen = 0;
    qint64 m_worstEver = 0;
    qint64 m_worstRawEver = 0;
    bool m_paused = true;
    QString m_worstSeen;
    // A thread that looks at the main thread while it is late.
    const long m_mainTid;
    std::atomic<qint64> m_beatNs{0};
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_stop{false};
    std::mutex m_seenLock;
    QString m_seen;
    std::thread m_watcher;
    pthread_t m_mainThread{};
    qint64 m_stackBeat = -1;
};

// Drives the application with seeded random actions found through its accessibility tree,
// with machine events in between, and checks after every action.
class Monkey : public QObject {
    Q_OBJECT
public:
    Monkey(quint32 seed, int actions, const QString& actionFile);
    ~Monkey() override;
    // Runs to the end; answers 0 when every check held.
    int run();

private:
    void launch();
    void step();
    void act();
    void check();
    void finish();
    void fail(const QString& why);
    void waitUntilToolsEnd();
    void checkStaleEjectQuestions();
    QList<qint64> runningTools() const;
    void record(const QString& line);

    // The actions.
    bool pressSomething();
    bool pressNamed(const QString& prefix);
    bool keyPress();
    bool typeText();
    bool dropFiles();
    bool machineEvent();
    bool closeWindow();

    QList<QAccessibleInterface*> reachable() const;
    void confirmFrom(QWidget* widget, const QString& ownName);
    QString emuctl(const QStringList& args);
    void safeKey(const QPointer<QWidget>& target, Qt::Key key, Qt::KeyboardModifiers modifiers);
    QString randomName();
    QStringList randomHostFiles(int count);
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(m_rng); }

    quint32 m_seed;
    int m_actions;
    int m_done = 0;
    int m_machineChanges = 0;
    int m_launches = 0;
    std::mt19937 m_rng;
    QFile m_log;
    QStringList m_history;
    std::unique_ptr<EmulatedMac> m_mac;
    std::unique_ptr<MachineWatch> m_watch;
    std::unique_ptr<AppDelegate> m_app;
    StallMeter m_meter;
    QTimer m_stepTimer;
    bool m_exitRequested = false;
    bool m_ending = false;
    QElapsedTimer m_endClock;
    int m_endTries = 0;
    int m_loopWaits = 0;
    int m_result = -1;
    QStringList m_pluggedDisks;
    QStringList m_busyVolumes;
    int m_nextDisk = 0;
    int m_staleQuestionLooks = 0;
};
