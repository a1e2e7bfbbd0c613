#include "TaskRun.h"
#include "TestMachine.h"
#include "TestMain.h"
#include "Wait.h"
#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/PropertyList.h"
#include "core/QvLog.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

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
} // namespace

class TestCommandRunner : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void formatsDocumentedLinesUnchanged_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("info") << QvFormatCommand(128, "diskutil info -plist %s", {QByteArray("/dev/disk4s1")})
                              << QByteArray("diskutil info -plist /dev/disk4s1");
        QTest::newRow("rename") << QvFormatCommand(128, "diskutil rename %s \"%s\"",
                                                   {QByteArray("disk4s1"), QByteArray("MY BACKUP D")})
                                << QByteArray("diskutil rename disk4s1 \"MY BACKUP D\"");
        QTest::newRow("bare with blank quoted")
            << QvFormatCommand(128, "diskutil info -plist %s", {QByteArray("/Volumes/Macintosh HD")})
            << QByteArray("diskutil info -plist \"/Volumes/Macintosh HD\"");
        QTest::newRow("quoted specials escaped")
            << QvFormatCommand(128, "diskutil rename %s \"%s\"",
                               {QByteArray("disk4s1"), QByteArray("a\"b$c`d\\e")})
            << QByteArray("diskutil rename disk4s1 \"a\\\"b\\$c\\`d\\\\e\"");
        QTest::newRow("percent") << QvFormatCommand(128, "echo 100%%", std::initializer_list<QByteArray>{})
                                 << QByteArray("echo 100%");
    }

    void formatsDocumentedLinesUnchanged() {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, expected);
        QCOMPARE(line, expected);
    }

    void rejectsLinesLongerThanTheirBuffer() {
        TestMachine mac;
        // "diskutil info -plist " is 21 bytes: 42 more fill a 64-byte buffer with its NUL, 43 do not.
        QCOMPARE(QvFormatCommand(64, "diskutil info -plist %s", {QByteArray(42, 'a')}).size(), 63);
        QVERIFY(QvFormatCommand(64, "diskutil info -plist %s", {QByteArray(43, 'a')}).isNull());
        // The runner's own 2048-byte buffer holds the line and the redirection.
        QVERIFY(execCommand(QByteArray(2100, 'x')).isNull());
        QVERIFY(!QFile::exists(mac.host("/tmp/KelvaroTemp.plist")));
    }

    void eachRunnerWritesItsOwnFile() {
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
        // DoCommand writes where it is told.
        DoCommand("diskutil info -plist /", "/tmp/TavrillDataTemp.plist");
        const auto dict = PropertyList::readDictionary(mac.host("/tmp/TavrillDataTemp.plist"));
        QVERIFY(dict);
        QCOMPARE(dict->value("Args").toString(), QStringLiteral("info -plist /"));
    }

    void staleOutputIsRemovedAndNullLinesTouchNothing() {
        TestMachine mac;
        mac.installTool("/usr/sbin/diskutil", "exit 1");
        const QString stale =
            mac.writeFile("/tmp/KelvaroTemp.plist", PropertyList::toXml(QVariantMap{{"Old", true}}));
        const QString path = execCommand("diskutil info -plist disk9");
        QCOMPARE(path, stale);
        QVERIFY(QFile::exists(path));
        QCOMPARE(QFile(path).size(), 0);
        QVERIFY(!PropertyList::readDictionary(path));

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
        int wrongA = 0;
        int wrongB = 0;
        std::thread a(lookUp, QByteArray("disk4"), &wrongA);
        std::thread b(lookUp, QByteArray("disk5"), &wrongB);
        a.join();
        b.join();
        QCOMPARE(wrongA, 0);
        QCOMPARE(wrongB, 0);
    }

    void failureToRunIsLoggedOnlyWhenNamed() {
        TestMachine mac;
        mac.installTool("/usr/sbin/diskutil", "exit 1");
        QvUninitLog();
        QVERIFY(!runForDictionary(Runner::QvExec, QByteArray()));
        // A line that ran is no failure to run, even when it printed nothing.
        QVERIFY(!runForDictionary(Runner::QvExec, "diskutil list -plist", "diskutil list error"));
        QVERIFY(!runForDictionary(Runner::QvExec, QByteArray(), "diskutil info disk4 error"));
        QvUninitLog();
        const QList<QByteArray> lines = mac.readFile("/tmp/Pellory.txt").split('\n');
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines[0].endsWith("  diskutil info disk4 error"), lines[0].constData());
    }

    void hungToolIsStoppedAtItsLimit() {
        TestMachine mac;
        mac.installTool("/usr/sbin/diskutil", "echo $$ > \"$(dirname \"$0\")/../../tmp/pid\"\nexec sleep 30");
        const ToolTimeLimits saved = toolTimeLimits();
        setToolTimeLimits({1000, 2000, 300});
        QvUninitLog();
        QElapsedTimer clock;

        // An answer that never comes: no path after the normal limit, and the tool is gone.
        clock.start();
        QVERIFY(aepairExecCommand("diskutil info -plist disk4").isNull());
        QVERIFY2(clock.elapsed() >= 1000 && clock.elapsed() < 4000,
                 qPrintable(QString::number(clock.elapsed())));
        QVERIFY(waitUntil([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000));
        // The erase runners wait for the long limit.
        clock.restart();
        QVERIFY(eraserExecCommand("diskutil eraseVolume ExFAT NEW /dev/disk4s1").isNull());
        QVERIFY2(clock.elapsed() >= 2000 && clock.elapsed() < 5000,
                 qPrintable(QString::number(clock.elapsed())));

        // A tool that ignores SIGTERM is killed once the grace period is over.
        mac.installTool("/usr/sbin/diskutil", "trap '' TERM\necho $$ > \"$(dirname \"$0\")/../../tmp/pid\"\n"
                                              "while :; do sleep 0.1; done");
        clock.restart();
        QVERIFY(!runForDictionary(Runner::QvExec, "diskutil list -plist", "diskutil list error"));
        QVERIFY2(clock.elapsed() >= 1300 && clock.elapsed() < 4000,
                 qPrintable(QString::number(clock.elapsed())));
        QVERIFY(waitUntil([&] { return !processAlive(mac.readFile("/tmp/pid")); }, 2000));
        setToolTimeLimits(saved);

        QvUninitLog();
        QList<QByteArray> lines = mac.readFile("/tmp/Pellory.txt").trimmed().split('\n');
        for (QByteArray& line : lines)
            line = line.mid(21);
        QCOMPARE(lines, (QList<QByteArray>{
                            "stopped \"diskutil info -plist disk4\": no end within 1 s",
                            "stopped \"diskutil eraseVolume ExFAT NEW /dev/disk4s1\": no end within 2 s",
                            "stopped \"diskutil list -plist\": no end within 1 s", "diskutil list error"}));
    }
};

TAVRILL_TEST(TestCommandRunner)

#include "tst_commandrunner.moc"
