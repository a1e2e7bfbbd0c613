#include "tst_asr.h"

#include "EmulatorTestKit.h"
#include "platform/Machine.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

namespace {

struct AsrRun {
    QList<QByteArray> chunks;
    QByteArray text;
    int code = -1;
};

// Runs asr as the clone engine does: reads its output chunk by chunk and answers the prompt
// with a single "y" (or `answer`) when it appears. `onChunk` may act mid-run.
AsrRun runAsr(const EmulatedMac& mac, const QString& target, const QByteArray& answer = "y",
              const std::function<void(const QByteArray&)>& onChunk = {}, bool asRoot = true) {
    AsrRun r;
    QProcess p;
    p.setProcessEnvironment(asRoot ? EmulatedMac::rootEnvironment() : Machine::toolEnvironment());
    p.start(mac.host("/usr/sbin/asr"), {"restore", "--source", "/", "--target", target, "--erase"});
    if (!p.waitForStarted())
        return r;
    bool answered = false;
    while (p.state() != QProcess::NotRunning) {
        p.waitForReadyRead(200);
        const QByteArray chunk = p.readAllStandardOutput();
        if (chunk.isEmpty())
            continue;
        r.chunks << chunk;
        r.text += chunk;
        if (onChunk)
            onChunk(r.text);
        if (!answered && r.text.contains("[ny]")) {
            p.write(answer);
            p.closeWriteChannel();
            answered = true;
        }
    }
    const QByteArray rest = p.readAllStandardOutput();
    if (!rest.isEmpty()) {
        r.chunks << rest;
        r.text += rest;
    }
    r.code = p.exitCode();
    return r;
}

const QByteArray kProgress = "....10....20....30....40....50....60....70....80....90....100\n";

} // namespace

void TestAsr::restoresInEachDelivery_data() {
    QTest::addColumn<QString>("delivery");
    QTest::newRow("token") << "token";
    QTest::newRow("line") << "line";
    QTest::newRow("buffered") << "buffered";
    // Unset: stdio's way on a pipe, everything held back but the prompt.
    QTest::newRow("unset") << "";
}

void TestAsr::restoresInEachDelivery() {
    QFETCH(QString, delivery);
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    if (!delivery.isEmpty())
        QVERIFY(mac->setAsr("delivery", delivery));
    QVERIFY(mac->setAsr("pieceDelayMs", "25"));
    QVERIFY(mac->setAsr("stepDelayMs", "0"));
    const QString device = infoText(*mac, "/Volumes/Backup", "DeviceNode");

    const AsrRun r = runAsr(*mac, QStringLiteral("/Volumes/Backup"));
    QCOMPARE(r.code, 0);
    const QByteArray expected =
        "\tValidating target...done\n\tValidating source...done\n\tErase contents of " + device.toUtf8() +
        " (/Volumes/Backup)? [ny]: \n\tReplicating " + kProgress + "\tReplicating " + kProgress +
        "\tRestored target device is " + device.toUtf8() +
        ".\n\tRemounting target volume...done\nRestore completed successfully.\n";
    QCOMPARE(r.text, expected);
    const int lone100 = int(r.chunks.count("100"));
    if (delivery == QLatin1String("token")) {
        // Every piece arrives on its own, "done" apart from its step and "100" alone.
        QCOMPARE(lone100, 2);
        QVERIFY(r.chunks.contains("\tValidating target..."));
        QVERIFY(r.chunks.contains("done\n"));
    } else {
        QCOMPARE(lone100, 0);
        for (const QByteArray& c : r.chunks) {
            if (delivery == QLatin1String("line") && !c.contains("[ny]"))
                QVERIFY2(c.endsWith('\n'), c.constData());
        }
        if (delivery == QLatin1String("buffered"))
            QVERIFY(r.chunks.size() <= 4);
        if (delivery.isEmpty()) {
            QCOMPARE(r.chunks.size(), 2);
            QVERIFY(r.chunks.first().endsWith("[ny]: "));
        }
    }
    // The system's files are on the target, which now carries the system's name.
    const QString clone = QStringLiteral("/Volumes/Macintosh HD 1");
    QCOMPARE(infoText(*mac, device, "MountPoint"), clone);
    QCOMPARE(infoText(*mac, device, "VolumeName"), QStringLiteral("Macintosh HD"));
    QFile source(mac->host("/Applications/TextEdit.app/Contents/Info.plist"));
    QFile copy(mac->host(clone + QStringLiteral("/Applications/TextEdit.app/Contents/Info.plist")));
    QVERIFY(source.open(QIODevice::ReadOnly) && copy.open(QIODevice::ReadOnly));
    QCOMPARE(copy.readAll(), source.readAll());
    QVERIFY(QFileInfo(mac->host(clone + QStringLiteral("/Users/alex/Desktop/Notes.txt"))).isFile());
    // The erase removed what the target held; the mount folders of "/" were not copied.
    QVERIFY(!QFileInfo::exists(mac->host(clone + QStringLiteral("/.DS_Store"))));
    QVERIFY(!QFileInfo::exists(mac->host(clone + QStringLiteral("/System/Volumes"))));
}

void TestAsr::replicationFails_data() {
    QTest::addColumn<bool>("unplug");
    QTest::addColumn<QByteArray>("end");
    QTest::newRow("at the knob's percentage")
        << false
        << QByteArray("\tReplicating ....10....20....30....40\nVolume replication failed - error 49244\n");
    QTest::newRow("target pulled out")
        << true << QByteArray("\nVolume replication failed - Device not configured\n");
}

void TestAsr::replicationFails() {
    QFETCH(bool, unplug);
    QFETCH(QByteArray, end);
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QVERIFY(mac->setAsr(unplug ? "delivery" : "failAt", unplug ? "token" : "40"));
    QVERIFY(mac->setAsr("stepDelayMs", unplug ? "150" : "0"));
    QVERIFY(mac->setAsr("pieceDelayMs", "0"));
    bool pulled = false;
    const AsrRun r = runAsr(*mac, "/Volumes/Backup", "y", [&](const QByteArray& text) {
        if (unplug && !pulled && text.contains("....20"))
            pulled = mac->unplug("backup");
    });
    QCOMPARE(pulled, unplug);
    QCOMPARE(r.code, 1);
    QVERIFY2(r.text.endsWith(end), r.text.constData());
    QVERIFY(!r.text.contains("Restore completed"));
    QCOMPARE(isWholeDisk(*mac, "disk4"), !unplug);
}

void TestAsr::answerNoStopsBeforeTouchingTheTarget() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QVERIFY(mac->setAsr("pieceDelayMs", "0"));
    const QStringList before = entriesOf(*mac, "/Volumes/Backup");
    const AsrRun r = runAsr(*mac, QStringLiteral("/Volumes/Backup"), "n");
    QCOMPARE(r.code, 1);
    QVERIFY(r.text.endsWith("Could not restore - Operation canceled\n"));
    QCOMPARE(entriesOf(*mac, "/Volumes/Backup"), before);
    // Without root it does nothing at all.
    mac->clearLog();
    const AsrRun user = runAsr(*mac, QStringLiteral("/Volumes/Backup"), "y", {}, false);
    QCOMPARE(user.code, 1);
    QCOMPARE(user.text, QByteArray("asr needs to be run as root (see sudo(8))\n"));
    QCOMPARE(entriesOf(*mac, "/Volumes/Backup"), before);
    QVERIFY(mac->rootCalls().isEmpty());
    QCOMPARE(mac->calls().size(), 1);
    // A target that is not a mounted volume fails validation.
    const AsrRun missing = runAsr(*mac, QStringLiteral("/Volumes/NewCloneSystem"));
    QCOMPARE(missing.code, 1);
    QCOMPARE(missing.text,
             QByteArray("\tValidating target...\nCould not validate target - No such file or directory\n"));
}
