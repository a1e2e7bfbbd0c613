#include "tst_qvtask.h"

#include "MessageCapture.h"
#include "TaskRun.h"
#include "TestMachine.h"
#include "Wait.h"
#include "core/QvTask.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

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
    MessageCapture messages;
    qint64 stoppedAfter = 0;
    QElapsedTimer sinceStop;
    const qint64 total = runTask("/usr/sbin/slow", {}, 600, 10000, [&] {
        QVERIFY(waitUntil([&] { return !mac.readFile("/tmp/pid").isEmpty(); }, 5000));
        QTest::qWait(200);
        sinceStop.start();
        QvTask::QvShareInstance()->QvStopTask();
    });
    stoppedAfter = sinceStop.elapsed();
    QVERIFY2(total >= 0, "QvStartTask did not return after QvStopTask");
    QVERIFY2(stoppedAfter < 2500, qPrintable(QString::number(stoppedAfter)));
    QVERIFY(waitUntil([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000));
    const QStringList said = messages.lines();
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
