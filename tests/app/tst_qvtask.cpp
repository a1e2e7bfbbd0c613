#include "tst_qvtask.h"

#include "TestMachine.h"
#include "app/QvTask.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QTest>
#include <QThreadPool>
#include <QTimer>

#include <atomic>
#include <csignal>

namespace {

QMutex messagesLock;
QStringList messages;

void collect(QtMsgType, const QMessageLogContext&, const QString& text) {
    QMutexLocker lock(&messagesLock);
    messages << text;
}

QStringList takeMessages() {
    QMutexLocker lock(&messagesLock);
    return std::exchange(messages, {});
}

// Runs the shared task on the pool, the way engines do, and waits for it on the main loop.
qint64 runTask(const QString& tool, const QStringList& args, double limit, int waitMs,
               const std::function<void()>& whileRunning = {}) {
    QvTask* task = QvTask::QvShareInstance();
    task->QvSetLaunchPath(tool);
    task->QvSetArguments(args);
    task->QvSetTimeoutCount(limit);
    std::atomic<bool> done{false};
    QElapsedTimer clock;
    clock.start();
    QThreadPool::globalInstance()->start([task, &done] {
        task->QvStartTask();
        done = true;
    });
    if (whileRunning)
        whileRunning();
    if (!QTest::qWaitFor([&] { return done.load(); }, waitMs))
        return -1;
    return clock.elapsed();
}

bool processAlive(const QByteArray& pidText) {
    const int pid = pidText.trimmed().toInt();
    return pid > 0 && ::kill(pid, 0) == 0;
}

} // namespace

void TestQvTask::raisesShortLimitsAndKeepsLongOnes() {
    TestMachine mac;
    mac.installTool("/usr/sbin/quick", "exit 0");
    QVERIFY(runTask("/usr/sbin/quick", {}, 10.0, 10000) >= 0);
    QCOMPARE(QvTask::QvShareInstance()->timeoutCount(), 60.0);
    QVERIFY(runTask("/usr/sbin/quick", {}, 600.0, 10000) >= 0);
    QCOMPARE(QvTask::QvShareInstance()->timeoutCount(), 600.0);
}

void TestQvTask::keepsArgumentsWhenGivenNone() {
    TestMachine mac;
    mac.installTool("/usr/sbin/diskutil", "printf '%s|' \"$@\" > \"$(dirname \"$0\")/../../tmp/args\"");
    QvTask* task = QvTask::QvShareInstance();
    QVERIFY(runTask("/usr/sbin/diskutil", {"eraseDisk", "JHFS+", "My Disk", "/dev/disk4"}, 600, 10000) >= 0);
    QCOMPARE(mac.readFile("/tmp/args"), QByteArray("eraseDisk|JHFS+|My Disk|/dev/disk4|"));
    task->QvSetArguments(nullptr);
    task->QvSetLaunchPath(QString());
    QCOMPARE(task->arguments(), (QStringList{"eraseDisk", "JHFS+", "My Disk", "/dev/disk4"}));
    QCOMPARE(task->launchPath(), QStringLiteral("/usr/sbin/diskutil"));
}

void TestQvTask::stopKillsTheToolWithinASecondOrSo() {
    TestMachine mac;
    mac.installTool("/usr/sbin/slow", "echo $$ > \"$(dirname \"$0\")/../../tmp/pid\"\nexec sleep 30");
    takeMessages();
    const auto previous = qInstallMessageHandler(collect);
    qint64 stoppedAfter = 0;
    QElapsedTimer sinceStop;
    const qint64 total = runTask("/usr/sbin/slow", {}, 600, 10000, [&] {
        QVERIFY(QTest::qWaitFor([&] { return !mac.readFile("/tmp/pid").isEmpty(); }, 5000));
        QTest::qWait(200);
        sinceStop.start();
        QvTask::QvShareInstance()->QvStopTask();
    });
    stoppedAfter = sinceStop.elapsed();
    qInstallMessageHandler(previous);
    QVERIFY2(total >= 0, "QvStartTask did not return after QvStopTask");
    QVERIFY2(stoppedAfter < 2500, qPrintable(QString::number(stoppedAfter)));
    QVERIFY(QTest::qWaitFor([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000));
    const QStringList said = takeMessages();
    QVERIFY(said.contains("QvStartTask return"));
    QVERIFY(!said.contains("task timeout"));
}

void TestQvTask::normalEndLeavesNoTimerBehind() {
    TestMachine mac;
    mac.installTool("/usr/sbin/quick", "exit 3");
    QVERIFY(runTask("/usr/sbin/quick", {}, 60, 10000) >= 0);
    QCoreApplication::processEvents();
    QTest::qWait(50);
    const auto timers = QCoreApplication::instance()->findChildren<QTimer*>();
    for (const QTimer* t : timers)
        QVERIFY(!t->isActive());
    QVERIFY(!QvTask::QvShareInstance()->timedOut());
}

void TestQvTaskTimeout::timeLimitKillsTheToolAndSaysSo() {
    TestMachine mac;
    mac.installTool("/usr/sbin/slow", "echo $$ > \"$(dirname \"$0\")/../../tmp/pid\"\nexec sleep 300");
    takeMessages();
    const auto previous = qInstallMessageHandler(collect);
    const qint64 elapsed = runTask("/usr/sbin/slow", {}, 5, 90000);
    qInstallMessageHandler(previous);
    QVERIFY(elapsed >= 59000 && elapsed < 65000);
    QVERIFY(QvTask::QvShareInstance()->timedOut());
    QCOMPARE(takeMessages().filter("task timeout").size(), 1);
    QVERIFY(QTest::qWaitFor([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000));
}
