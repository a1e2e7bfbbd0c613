#include "MessageCapture.h"
#include "TaskRun.h"
#include "TestMachine.h"
#include "TestMain.h"
#include "Wait.h"
#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/PropertyList.h"
#include "core/QvLog.h"
#include "core/QvTask.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <QTimer>

#include <functional>
#include <thread>

namespace {
// A diskutil that prints a one-key dictionary naming its arguments and records them one per
// line in /tmp/args.txt.
const QByteArray kRecordingTool = R"(
out="$(dirname "$0")/../../tmp/args.txt"
: > "$out"
for a in "$@"; do printf '%s\n' "$a" >> "$out"; done
printf '<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict><key>Args</key><string>%s</string></dict></plist>\n' "$*"
)";

// A tool's first line: it writes its process id to /tmp/pid.
const QByteArray kWritePid = "echo $$ > \"$(dirname \"$0\")/../../tmp/pid\"\n";

// True once the tool that wrote /tmp/pid has gone, within two seconds.
bool toolGone(const TestMachine& mac) {
    return waitUntil([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000);
}
} // namespace

// Tools run through the command runners and the shared task, and the log they write to.
class TestToolRuns : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void formatsLinesAndRefusesOnesTooLongForTheirBuffer() {
        QCOMPARE(QvFormatCommand(128, "diskutil info -plist %s", {QByteArray("/dev/disk4s1")}),
                 QByteArray("diskutil info -plist /dev/disk4s1"));
        QCOMPARE(QvFormatCommand(128, "diskutil rename %s \"%s\"",
                                 {QByteArray("disk4s1"), QByteArray("MY BACKUP D")}),
                 QByteArray("diskutil rename disk4s1 \"MY BACKUP D\""));
        // A bare argument with a blank is quoted; specials inside quotes are escaped.
        QCOMPARE(QvFormatCommand(128, "diskutil info -plist %s", {QByteArray("/Volumes/Macintosh HD")}),
                 QByteArray("diskutil info -plist \"/Volumes/Macintosh HD\""));
        QCOMPARE(QvFormatCommand(128, "diskutil rename %s \"%s\"",
                                 {QByteArray("disk4s1"), QByteArray("a\"b$c`d\\e")}),
                 QByteArray("diskutil rename disk4s1 \"a\\\"b\\$c\\`d\\\\e\""));
        QCOMPARE(QvFormatCommand(128, "echo 100%%", std::initializer_list<QByteArray>{}),
                 QByteArray("echo 100%"));
        // "diskutil info -plist " is 21 bytes: 42 more fill a 64-byte buffer with its NUL, 43 do not.
        QCOMPARE(QvFormatCommand(64, "diskutil info -plist %s", {QByteArray(42, 'a')}).size(), 63);
        QVERIFY(QvFormatCommand(64, "diskutil info -plist %s", {QByteArray(43, 'a')}).isNull());
    }

    void eachRunnerWritesItsOwnFileAndNoStaleAnswer() {
        TestMachine mac;
        mac.installTool("/usr/sbin/diskutil", kRecordingTool);
        const QList<QPair<std::function<QString(const QByteArray&)>, QString>> runners = {
            {execCommand, "KelvaroTemp.plist"},
            {QvExecCommand, "QvTemp.plist"},
            {GetExecCommand, "Fennick.plist"},
            {eraserDiskCommand, "eraserDiskTemp.plist"},
            {eraserExecCommand, "eraserVolumeTemp.plist"},
            {aepairExecCommand, "BrindleRepairTemp.plist"},
            {changeNameExecCommand, "BrindleChangeNameTemp.plist"},
            {ejectExecCommand, "ejectExecCommandTemp.plist"},
        };
        for (const auto& [runner, fileName] : runners) {
            const QString path = runner("diskutil info -plist " + fileName.toUtf8());
            QCOMPARE(path, mac.host("/tmp/" + fileName));
            const auto dict = PropertyList::readDictionary(path);
            QVERIFY2(dict, qPrintable(fileName));
            QCOMPARE(dict->value("Args").toString(), "info -plist " + fileName);
        }
        QCOMPARE(QDir(mac.host("/tmp")).entryList(QDir::Files).size(), runners.size() + 1); // + args.txt
        // The runner's own 2048-byte buffer holds the line and the redirection: longer ones do not run.
        QFile::remove(mac.host("/tmp/KelvaroTemp.plist"));
        QVERIFY(execCommand(QByteArray(2100, 'x')).isNull());
        QVERIFY(!QFile::exists(mac.host("/tmp/KelvaroTemp.plist")));

        // A failed run leaves no stale answer behind.
        mac.installTool("/usr/sbin/diskutil", "exit 1");
        const QString stale =
            mac.writeFile("/tmp/KelvaroTemp.plist", PropertyList::toXml(QVariantMap{{"Old", true}}));
        QCOMPARE(execCommand("diskutil info -plist disk9"), stale);
        QCOMPARE(QFileInfo(stale).size(), 0);

        // A null line touches nothing.
        mac.writeFile("/tmp/BrindleRepairTemp.plist", "kept");
        QVERIFY(aepairExecCommand(QByteArray()).isNull());
        QCOMPARE(mac.readFile("/tmp/BrindleRepairTemp.plist"), QByteArray("kept"));
        DoCommand(QByteArray(), "/tmp/x.plist");
        DoCommand("diskutil info -plist /", QString());
        QVERIFY(!QFile::exists(mac.host("/tmp/x.plist")));
    }

    void hostileNamesReachTheToolLiterally_data() {
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("command substitution") << QByteArray("a\"b$(touch x)`touch x`c");
        QTest::newRow("backslash and dollar") << QByteArray("back\\slash $HOME \\\"");
        QTest::newRow("semicolon") << QByteArray("x\"; touch x; echo \"");
        QTest::newRow("non-latin") << QString::fromUtf8("日本語 Диск").toUtf8();
    }

    void hostileNamesReachTheToolLiterally() {
        QFETCH(QByteArray, name);
        TestMachine mac;
        mac.installTool("/usr/sbin/diskutil", kRecordingTool);
        QTemporaryDir cwd;
        const QString previous = QDir::currentPath();
        QDir::setCurrent(cwd.path());

        // Quoted in the format, and bare in the format: both reach the tool as one argument.
        aepairExecCommand(QvFormatCommand(128, "diskutil rename %s \"%s\"", {QByteArray("disk4s1"), name}));
        QCOMPARE(mac.readFile("/tmp/args.txt"), "rename\ndisk4s1\n" + name + "\n");
        ejectExecCommand(QvFormatCommand(128, "diskutil eject %s", {name}));
        QCOMPARE(mac.readFile("/tmp/args.txt"), "eject\n" + name + "\n");

        QDir::setCurrent(previous);
        QVERIFY(!QFile::exists(cwd.filePath("x")));
        QVERIFY(!QFile::exists(mac.host("/x")));
    }

    void callersSharingARunnerReadTheirOwnAnswers() {
        TestMachine mac;
        mac.installTool("/usr/sbin/diskutil", kRecordingTool);
        // Each thread reads its own disk's answer and runs a line it does not read in between; all
        // go through the one file of the same runner.
        const auto lookUp = [](const QByteArray& disk, int* wrong) {
            for (int i = 0; i < 12; ++i) {
                const auto answer = runForDictionary(Runner::AepairExec, "diskutil info -plist " + disk);
                if (!answer || answer->value("Args").toByteArray() != "info -plist " + disk)
                    ++*wrong;
                aepairExecCommand("diskutil eject " + disk);
            }
        };
        int wrong[2] = {};
        std::thread a(lookUp, QByteArray("disk4"), &wrong[0]);
        std::thread b(lookUp, QByteArray("disk5"), &wrong[1]);
        a.join();
        b.join();
        QCOMPARE(wrong[0] + wrong[1], 0);
    }

    void failuresToRunAreLoggedAndHungToolsStoppedAtTheirLimit() {
        TestMachine mac;
        mac.installTool("/usr/sbin/diskutil", "exit 1");
        QvUninitLog();
        // A line that ran is no failure to run, even when it printed nothing; one that could not
        // be made is logged when it is named.
        QVERIFY(!runForDictionary(Runner::QvExec, QByteArray()));
        QVERIFY(!runForDictionary(Runner::QvExec, "diskutil list -plist", "diskutil list error"));
        QVERIFY(!runForDictionary(Runner::QvExec, QByteArray(), "diskutil info disk4 error"));

        mac.installTool("/usr/sbin/diskutil", kWritePid + "exec sleep 30");
        const ToolTimeLimits saved = toolTimeLimits();
        setToolTimeLimits({1000, 2000, 300});
        QElapsedTimer clock;

        // An answer that never comes: no path after the normal limit, and the tool is gone.
        clock.start();
        QVERIFY(aepairExecCommand("diskutil info -plist disk4").isNull());
        QVERIFY2(clock.elapsed() >= 1000 && clock.elapsed() < 4000,
                 qPrintable(QString::number(clock.elapsed())));
        QVERIFY(toolGone(mac));
        // The erase runners wait for the long limit.
        clock.restart();
        QVERIFY(eraserExecCommand("diskutil eraseVolume ExFAT NEW /dev/disk4s1").isNull());
        QVERIFY2(clock.elapsed() >= 2000 && clock.elapsed() < 5000,
                 qPrintable(QString::number(clock.elapsed())));

        // A tool that ignores SIGTERM is killed once the grace period is over.
        mac.installTool("/usr/sbin/diskutil", kWritePid + "trap '' TERM\nwhile :; do sleep 0.1; done");
        clock.restart();
        QVERIFY(!runForDictionary(Runner::QvExec, "diskutil list -plist", "diskutil list error"));
        QVERIFY2(clock.elapsed() >= 1300 && clock.elapsed() < 4000,
                 qPrintable(QString::number(clock.elapsed())));
        QVERIFY(toolGone(mac));
        setToolTimeLimits(saved);

        QvUninitLog();
        QList<QByteArray> lines = mac.readFile("/tmp/Pellory.txt").trimmed().split('\n');
        for (QByteArray& line : lines)
            line = line.mid(21);
        QCOMPARE(lines,
                 (QList<QByteArray>{
                     "diskutil info disk4 error", "stopped \"diskutil info -plist disk4\": no end within 1 s",
                     "stopped \"diskutil eraseVolume ExFAT NEW /dev/disk4s1\": no end within 2 s",
                     "stopped \"diskutil list -plist\": no end within 1 s", "diskutil list error"}));
    }

    void taskPassesArgumentsLeavesNoTimerAndStopsWithSigtermFirst() {
        // A short time limit raised to a minute: tst_qvtasktimeout.
        TestMachine mac;
        mac.installTool("/usr/sbin/diskutil", "printf '%s|' \"$@\" > \"$(dirname \"$0\")/../../tmp/args\"");
        QVERIFY(runTask("/usr/sbin/diskutil", {"eraseDisk", "JHFS+", "My Disk", "/dev/disk4"}, 10.0, 10000) >=
                0);
        QCOMPARE(mac.readFile("/tmp/args"), QByteArray("eraseDisk|JHFS+|My Disk|/dev/disk4|"));
        QTest::qWait(50);
        for (const QTimer* t : QCoreApplication::instance()->findChildren<QTimer*>())
            QVERIFY(!t->isActive());
        QVERIFY(!QvTask::QvShareInstance()->timedOut());

        // A stop asks first: a tool that writes down every SIGTERM it gets and leaves on one. One
        // that ignores it is killed after the grace period, through the same stop as the runners'
        // (see failuresToRunAreLoggedAndHungToolsStoppedAtTheirLimit).
        mac.installTool("/usr/sbin/polite", kWritePid +
                                                "trap 'echo TERM >> \"$(dirname \"$0\")/../../tmp/signals\"; "
                                                "exit 0' TERM\nwhile :; do sleep 0.1; done");
        const ToolTimeLimits saved = toolTimeLimits();
        setToolTimeLimits({saved.normalMs, saved.longMs, 3000});
        QvUninitLog();
        QElapsedTimer sinceStop;
        MessageCapture messages;
        QVERIFY2(runTask("/usr/sbin/polite", {"--keep"}, 600, 10000,
                         [&] {
                             QVERIFY(waitUntil([&] { return !mac.readFile("/tmp/pid").isEmpty(); }, 5000));
                             sinceStop.start();
                             QvTask::QvShareInstance()->QvStopTask();
                         }) >= 0,
                 "QvStartTask did not return after QvStopTask");
        setToolTimeLimits(saved);
        QVERIFY2(sinceStop.elapsed() < 2500, qPrintable(QString::number(sinceStop.elapsed())));
        QVERIFY(messages.lines().contains("QvStartTask return"));
        QVERIFY(!messages.lines().contains("task timeout"));
        QCOMPARE(mac.readFile("/tmp/signals"), QByteArray("TERM\n"));
        QCOMPARE(QvTask::QvShareInstance()->QvLastExitCode(), -1);
        QVERIFY(toolGone(mac));
        QvUninitLog();
        const QByteArray log = mac.readFile("/tmp/Pellory.txt");
        QVERIFY2(log.contains("stopped polite --keep: stop asked for"), log.constData());
    }

    void logWritesWholeLinesReopensAndFailsQuietly() {
        TestMachine mac;
        QvUninitLog();
        QCOMPARE(QvLog("diskutil info %s error", "disk4s1"), 0);
        const QByteArray text = mac.readFile("/tmp/Pellory.txt");
        static const QRegularExpression line(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d  diskutil info disk4s1 error\\n$");
        QVERIFY2(line.match(QString::fromUtf8(text)).hasMatch(), text.constData());
        QCOMPARE(QvLog(nullptr), -1);

        // Opened twice and closed twice, it reopens and appends.
        QvUninitLog();
        QFile::remove(mac.host("/tmp/Pellory.txt"));
        QCOMPARE(QvInitLog(), 0);
        QCOMPARE(QvInitLog(), 0);
        QvLog("one");
        QCOMPARE(QvUninitLog(), 0);
        QCOMPARE(QvUninitLog(), 0);
        QvLog("two");
        QvUninitLog();
        QList<QByteArray> lines = mac.readFile("/tmp/Pellory.txt").split('\n');
        QCOMPARE(lines.size(), 3);
        QVERIFY(lines[0].endsWith("  one"));
        QVERIFY(lines[1].endsWith("  two"));

        QFile::remove(mac.host("/tmp/Pellory.txt"));
        const QByteArray big(10 * 1024, 'x');
        QvLog("%s", big.constData());
        // Lines from several threads never interleave.
        for (int t = 0; t < 4; ++t)
            QThreadPool::globalInstance()->start([t] {
                for (int i = 0; i < 200; ++i)
                    QvLog("thread %d line %d %s", t, i, "0123456789abcdefghijklmnopqrstuvwxyz");
            });
        QThreadPool::globalInstance()->waitForDone();
        QvUninitLog();
        lines = mac.readFile("/tmp/Pellory.txt").split('\n');
        QCOMPARE(lines.size(), 1 + 800 + 1);
        QVERIFY(lines[0].endsWith("  " + big));
        static const QRegularExpression shape(
            "^\\S+ \\S+  thread \\d line \\d+ 0123456789abcdefghijklmnopqrstuvwxyz$");
        for (int i = 1; i <= 800; ++i)
            QVERIFY2(shape.match(QString::fromLatin1(lines[i])).hasMatch(), lines[i].constData());

        // A folder that cannot be written: every call fails quietly.
        TestMachine broken;
        QFile::remove(broken.host("/tmp"));
        QDir(broken.host("/tmp")).removeRecursively();
        QCOMPARE(QvInitLog(), -1);
        QCOMPARE(QvLog("lost"), -1);
    }
};

TAVRILL_TEST(TestToolRuns)

#include "tst_toolruns.moc"
