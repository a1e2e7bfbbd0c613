#include "MessageCapture.h"
#include "TaskRun.h"
#include "TestMachine.h"
#include "TestMain.h"
#include "Wait.h"
#include "core/QvTask.h"

#include <QTest>

// The time limit itself: a minute at least, so this one runs with the slow tests.
class TestQvTaskTimeout : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void timeLimitKillsTheToolAndSaysSo() {
        TestMachine mac;
        mac.installTool("/usr/sbin/slow", "echo $$ > \"$(dirname \"$0\")/../../tmp/pid\"\nexec sleep 300");
        MessageCapture messages;
        const qint64 elapsed = runTask("/usr/sbin/slow", {}, 5, 90000);
        QVERIFY(elapsed >= 59000 && elapsed < 65000);
        QVERIFY(QvTask::QvShareInstance()->timedOut());
        QCOMPARE(messages.lines().filter("task timeout").size(), 1);
        QVERIFY(waitUntil([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000));
    }
};

TAVRILL_TEST(TestQvTaskTimeout)

#include "tst_qvtasktimeout.moc"
