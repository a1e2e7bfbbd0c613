#include "MessageCapture.h"
#include "TaskRun.h"
#include "TestMachine.h"
#include "TestMain.h"
#include "Wait.h"
#include "core/QvLog.h"
#include "core/QvTask.h"
#include "platform/Shell.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>
#include <QTimer>

class TestQvTask : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void limitsArgumentsAndTimersOfARun() {
        TestMachine mac;
        // Short limits are raised, long ones kept; a normal end leaves no timer running.
        mac.installTool("/usr/sbin/quick", "exit 3");
        QVERIFY(runTask("/usr/sbin/quick", {}, 10.0, 10000) >= 0);
        QCOMPARE(QvTask::QvShareInstance()->timeoutCount(), 60.0);
        QVERIFY(runTask("/usr/sbin/quick", {}, 600.0, 10000) >= 0);
        QCOMPARE(QvTask::QvShareInstance()->timeoutCount(), 600.0);
        QCoreApplication::processEvents();
        QTest::qWait(50);
        for (const QTimer* t : QCoreApplication::instance()->findChildren<QTimer*>())
            QVERIFY(!t->isActive());
        QVERIFY(!QvTask::QvShareInstance()->timedOut());

        // The arguments reach the tool whole and stay when none are given.
        mac.installTool("/usr/sbin/diskutil", "printf '%s|' \"$@\" > \"$(dirname \"$0\")/../../tmp/args\"");
        QvTask* task = QvTask::QvShareInstance();
        QVERIFY(runTask("/usr/sbin/diskutil", {"eraseDisk", "JHFS+", "My Disk", "/dev/disk4"}, 600, 10000) >=
                0);
        QCOMPARE(mac.readFile("/tmp/args"), QByteArray("eraseDisk|JHFS+|My Disk|/dev/disk4|"));
        task->QvSetArguments(nullptr);
        task->QvSetLaunchPath(QString());
        QCOMPARE(task->arguments(), (QStringList{"eraseDisk", "JHFS+", "My Disk", "/dev/disk4"}));
        QCOMPARE(task->launchPath(), QStringLiteral("/usr/sbin/diskutil"));
    }

    void stopAsksWithSigtermBeforeKilling() {
        TestMachine mac;
        // Both tools write down every SIGTERM they get; the polite one leaves when it gets one.
        const QByteArray recordTerm = "dir=\"$(dirname \"$0\")/../../tmp\"\necho $$ > \"$dir/pid\"\n"
                                      "trap 'echo TERM >> \"$dir/signals\"";
        mac.installTool("/usr/sbin/polite", recordTerm + "; exit 0' TERM\nwhile :; do sleep 0.1; done");
        // The stubborn one stays and counts its tenths of a second after the first SIGTERM.
        mac.installTool("/usr/sbin/stubborn",
                        recordTerm + "' TERM\nwhile :; do sleep 0.1; "
                                     "[ -f \"$dir/signals\" ] && echo . >> \"$dir/after\"; done");
        const ToolTimeLimits saved = toolTimeLimits();
        QvUninitLog();
        QElapsedTimer sinceStop;
        const auto stopOnceRunning = [&] {
            QVERIFY(waitUntil([&] { return !mac.readFile("/tmp/pid").isEmpty(); }, 5000));
            sinceStop.start();
            QvTask::QvShareInstance()->QvStopTask();
        };

        setToolTimeLimits({saved.normalMs, saved.longMs, 3000});
        {
            MessageCapture messages;
            QVERIFY2(runTask("/usr/sbin/polite", {}, 600, 10000, stopOnceRunning) >= 0,
                     "QvStartTask did not return after QvStopTask");
            QVERIFY2(sinceStop.elapsed() < 2500, qPrintable(QString::number(sinceStop.elapsed())));
            QVERIFY(messages.lines().contains("QvStartTask return"));
            QVERIFY(!messages.lines().contains("task timeout"));
        }
        QCOMPARE(mac.readFile("/tmp/signals"), QByteArray("TERM\n"));
        QCOMPARE(QvTask::QvShareInstance()->QvLastExitCode(), -1);
        QVERIFY(waitUntil([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000));

        QFile::remove(mac.host("/tmp/pid"));
        QFile::remove(mac.host("/tmp/signals"));
        setToolTimeLimits({saved.normalMs, saved.longMs, 1000});
        QVERIFY(runTask("/usr/sbin/stubborn", {"--keep"}, 600, 10000, stopOnceRunning) >= 0);
        QVERIFY2(sinceStop.elapsed() < 4000, qPrintable(QString::number(sinceStop.elapsed())));
        QVERIFY(mac.readFile("/tmp/signals").startsWith("TERM\n"));
        // It was killed only when the grace period of a second was over.
        const qsizetype tenthsAfterTerm = mac.readFile("/tmp/after").count('\n');
        QVERIFY2(tenthsAfterTerm >= 6, qPrintable(QString::number(tenthsAfterTerm)));
        QVERIFY(waitUntil([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000));
        setToolTimeLimits(saved);

        QvUninitLog();
        const QByteArray log = mac.readFile("/tmp/Pellory.txt");
        QVERIFY2(log.contains("stopped polite: stop asked for"), log.constData());
        QVERIFY2(log.contains("stopped stubborn --keep: stop asked for"), log.constData());
    }
};

TAVRILL_TEST(TestQvTask)

#include "tst_qvtask.moc"
