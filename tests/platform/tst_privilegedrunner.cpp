#include "EmulatedMac.h"
#include "TestMain.h"
#include "Wait.h"
#include "platform/PrivilegedRunner.h"

#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

std::optional<PrivilegedCommand> command(const QString& tool, const QStringList& args) {
    if (tool == QLatin1String("asr"))
        return PrivilegedCommand::restore(args.value(0), args.value(1));
    return PrivilegedCommand::diskutil(args);
}

} // namespace

// Commands run as root after the administrator dialog, on an emulated Mac: which commands are
// let through, the dialog's three answers, output while the tool runs, and a stop (asked for,
// or Tavrill gone) that reaches the root tool.
class TestPrivilegedRunner : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void commandChecks_data() {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("restore the system") << "asr" << QStringList{"/", "/Volumes/NewCloneSystem"} << true;
        QTest::newRow("restore a volume")
            << "asr" << QStringList{"/Volumes/Data", "/Volumes/Backup 1"} << true;
        QTest::newRow("quotes in a name") << "asr" << QStringList{"/", "/Volumes/It's \"$(x)\""} << true;
        QTest::newRow("outside /Volumes") << "asr" << QStringList{"/", "/private/tmp"} << false;
        QTest::newRow("climbs out") << "asr" << QStringList{"/", "/Volumes/../etc"} << false;
        QTest::newRow("dot dot") << "asr" << QStringList{"/", "/Volumes/.."} << false;
        QTest::newRow("line end") << "asr" << QStringList{"/", "/Volumes/a\nb"} << false;
        QTest::newRow("onto itself") << "asr" << QStringList{"/Volumes/A", "/Volumes/A"} << false;
        QTest::newRow("erase a disk")
            << "diskutil" << QStringList{"eraseDisk", "JHFS+", "NewCloneSystem1", "disk4"} << true;
        QTest::newRow("erase a partition")
            << "diskutil" << QStringList{"eraseDisk", "JHFS+", "NewCloneSystem", "disk4s2"} << false;
        QTest::newRow("unknown file system")
            << "diskutil" << QStringList{"eraseDisk", "ZFS", "NewCloneSystem", "disk4"} << false;
        QTest::newRow("shell in a name")
            << "diskutil" << QStringList{"eraseDisk", "APFS", "a;reboot", "disk4"} << false;
        QTest::newRow("too few") << "diskutil" << QStringList{"eraseDisk", "APFS", "disk4"} << false;
        QTest::newRow("unmount a disk") << "diskutil" << QStringList{"unmountDisk", "/dev/disk4"} << true;
        QTest::newRow("mount a volume") << "diskutil" << QStringList{"mountDisk", "disk4s2"} << true;
        QTest::newRow("mount a path") << "diskutil" << QStringList{"mountDisk", "/Volumes/X"} << false;
        QTest::newRow("another verb") << "diskutil" << QStringList{"rename", "disk4s1", "X"} << false;
    }

    void commandChecks() {
        QFETCH(QString, tool);
        QFETCH(QStringList, args);
        QFETCH(bool, allowed);
        const std::optional<PrivilegedCommand> c = command(tool, args);
        QCOMPARE(c.has_value(), allowed);
        if (!c)
            return;
        if (tool == QLatin1String("asr")) {
            QCOMPARE(c->program(), QStringLiteral("/usr/sbin/asr"));
            QCOMPARE(c->arguments(), (QStringList{"restore", "--source", args.at(0), "--target", args.at(1),
                                                  "--erase", "--noprompt"}));
        } else {
            QCOMPARE(c->program(), QStringLiteral("/usr/sbin/diskutil"));
            QCOMPARE(c->arguments(), args);
        }
    }

    void dialogAnswers_data() {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<int>("expected");
        QTest::addColumn<QString>("refusal");
        QTest::newRow("approved") << "approve" << int(PrivilegedRunner::Answer::Approved) << "";
        QTest::newRow("denied")
            << "deny" << int(PrivilegedRunner::Answer::Denied)
            << "execution error: The administrator user name or password was incorrect. (-60005)";
        QTest::newRow("cancelled") << "cancel" << int(PrivilegedRunner::Answer::Cancelled)
                                   << "execution error: User canceled. (-128)";
    }

    void dialogAnswers() {
        QFETCH(QString, answer);
        QFETCH(int, expected);
        QFETCH(QString, refusal);
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        QVERIFY(mac->setAuthorization(answer));
        const QString disk = mac->diskInfo("/Volumes/Backup").value("ParentWholeDisk").toString();
        mac->clearLog();
        PrivilegedRunner runner({*PrivilegedCommand::diskutil({"unmountDisk", "/dev/" + disk})});
        QCOMPARE(int(runner.authorize(QStringLiteral("Tavrill needs it."))), expected);
        QVERIFY2(refusal.isEmpty() ? runner.refusal().isEmpty() : runner.refusal().endsWith(refusal),
                 qPrintable(runner.refusal()));
        QCOMPARE(runner.isAuthorized(), answer == QLatin1String("approve"));
        // The dialog was asked for once, whatever its answer.
        QCOMPARE(mac->calls("osascript").size(), 1);
        QCOMPARE(mac->calls("osascript").first().value(2), runner.script());

        QByteArray output;
        const int code = runner.run(0, &output);
        if (answer != QLatin1String("approve")) {
            QCOMPARE(code, -1);
            QVERIFY(mac->calls("diskutil").isEmpty());
            return;
        }
        QCOMPARE(code, 0);
        QCOMPARE(output, "Unmount of all volumes on " + disk.toUtf8() + " was successful\n");
        QCOMPARE(mac->rootCalls("diskutil"),
                 (QList<QStringList>{{"diskutil", "unmountDisk", "/dev/" + disk}}));
        // A command runs once per session.
        QCOMPARE(runner.run(0, &output), -1);
        runner.end();
        QVERIFY(waitUntil([&] { return mac->runningTools(QStringLiteral("osascript")).isEmpty(); }, 5000));
    }

    void stopReachesTheRootTool_data() {
        QTest::addColumn<bool>("tavrillGone"); // else: Tavrill asks for the stop
        QTest::newRow("stop asked for") << false;
        QTest::newRow("Tavrill gone") << true;
    }

    void stopReachesTheRootTool() {
        QFETCH(bool, tavrillGone);
        // A volume whose name holds what a shell and an AppleScript string would take for their own.
        const QString name = QStringLiteral("Back'up \"$HOME\" \\n");
        auto mac = EmulatedMac::fromJson(
            "{\"version\":\"11.7\",\"asr\":{\"delivery\":\"token\",\"stepDelayMs\":300,\"pieceDelayMs\":0},"
            "\"disks\":[{\"name\":\"stick\",\"mediaName\":\"Stick\",\"size\":\"16GB\",\"scheme\":\"GPT\","
            "\"partitions\":[{\"fs\":\"JHFS+\",\"name\":\"Back'up \\\"$HOME\\\" \\\\n\"}]}]}");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QString target = QStringLiteral("/Volumes/") + name;
        QVERIFY(QFileInfo(mac->host(target)).isDir());

        // The process whose end ends the session: a stand-in for Tavrill.
        QProcess tavrill;
        tavrill.start(QStringLiteral("sleep"), {"60"});
        QVERIFY(tavrill.waitForStarted());
        PrivilegedRunner runner({*PrivilegedCommand::restore(QStringLiteral("/"), target)},
                                tavrillGone ? tavrill.processId() : 0);
        QCOMPARE(runner.authorize(QStringLiteral("Tavrill needs it.")), PrivilegedRunner::Answer::Approved);
        std::unique_ptr<PrivilegedJob> job(runner.start(0));
        QVERIFY(job);
        QByteArray output;
        connect(job.get(), &PrivilegedJob::outputReady, this,
                [&](const QByteArray& chunk) { output += chunk; });
        QSignalSpy finished(job.get(), &PrivilegedJob::finished);
        // The output arrives while the tool copies, not at its end.
        QVERIFY(waitUntil([&] { return output.contains("....20"); }, 30000));
        QVERIFY(job->isRunning());
        QCOMPARE(mac->rootCalls("asr"), (QList<QStringList>{{"asr", "restore", "--source", "/", "--target",
                                                             target, "--erase", "--noprompt"}}));
        QCOMPARE(mac->runningTools(QStringLiteral("asr")).size(), 1);

        if (tavrillGone) {
            tavrill.kill();
            tavrill.waitForFinished();
        } else {
            job->stop();
        }
        QVERIFY(waitUntil([&] { return !finished.isEmpty(); }, 15000));
        // Ended by SIGTERM, well before its end, and nothing of it runs any more.
        QCOMPARE(finished.first().at(0).toInt(), 15);
        QCOMPARE(finished.first().at(1).toBool(), false);
        QVERIFY(!output.contains("Restore completed"));
        QVERIFY(mac->runningTools(QStringLiteral("asr")).isEmpty());
        tavrill.kill();
        tavrill.waitForFinished();
    }
};

TAVRILL_TEST(TestPrivilegedRunner)

#include "tst_privilegedrunner.moc"
