#include "EmulatorTestKit.h"
#include "platform/Machine.h"

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
    // The target carries the system's name (TestBootable::clonesInEveryDelivery compares the
    // copied trees).
    const QString clone = QStringLiteral("/Volumes/Macintosh HD 1");
    QCOMPARE(fieldsOf(mac->diskInfo(device), {"MountPoint", "VolumeName"}),
             clone + QStringLiteral("|Macintosh HD"));
    // The erase removed what the target held; the mount folders of "/" were not copied.
    QVERIFY(!QFileInfo::exists(mac->host(clone + QStringLiteral("/.DS_Store"))));
    QVERIFY(!QFileInfo::exists(mac->host(clone + QStringLiteral("/System/Volumes"))));
}

void TestAsr::endsWithoutRestoring_data() {
    // asr settings ("key=value"), "unplug" to pull the target out after "20", "user" to run it
    // without root
    QTest::addColumn<QStringList>("knobs");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("text"); // how the output ends; all of it after a "+"
    const QString backup = QStringLiteral("/Volumes/Backup");
    QTest::newRow("at the knob's percentage")
        << QStringList{"failAt=40", "stepDelayMs=0"} << backup << QByteArray("y")
        << QByteArray("\tReplicating ....10....20....30....40\nVolume replication failed - error 49244\n");
    QTest::newRow("target pulled out")
        << QStringList{"delivery=token", "stepDelayMs=150", "unplug"} << backup << QByteArray("y")
        << QByteArray("\nVolume replication failed - Device not configured\n");
    QTest::newRow("answered no") << QStringList() << backup << QByteArray("n")
                                 << QByteArray("Could not restore - Operation canceled\n");
    QTest::newRow("not root") << QStringList{"user"} << backup << QByteArray("y")
                              << QByteArray("+asr needs to be run as root (see sudo(8))\n");
    QTest::newRow("target not mounted")
        << QStringList() << QStringLiteral("/Volumes/NewCloneSystem") << QByteArray("y")
        << QByteArray("+\tValidating target...\nCould not validate target - No such file or directory\n");
}

void TestAsr::endsWithoutRestoring() {
    QFETCH(QStringList, knobs);
    QFETCH(QString, target);
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, text);
    const bool unplug = knobs.removeAll(QStringLiteral("unplug")) > 0;
    const bool asRoot = knobs.removeAll(QStringLiteral("user")) == 0;
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    for (const QString& knob : knobs << QStringLiteral("pieceDelayMs=0"))
        QVERIFY(mac->setAsr(knob.section(QLatin1Char('='), 0, 0), knob.section(QLatin1Char('='), 1)));
    const QStringList before = entriesOf(*mac, "/Volumes/Backup");
    mac->clearLog();
    bool pulled = false;
    const AsrRun r = runAsr(
        *mac, target, answer,
        [&](const QByteArray& out) {
            if (unplug && !pulled && out.contains("....20"))
                pulled = mac->unplug("backup");
        },
        asRoot);
    QCOMPARE(pulled, unplug);
    QCOMPARE(r.code, 1);
    // Without root it does nothing at all.
    QCOMPARE(mac->rootCalls().isEmpty(), !asRoot);
    QVERIFY(asRoot || mac->calls().size() == 1);
    if (text.startsWith('+'))
        QCOMPARE(r.text, text.mid(1));
    else
        QVERIFY2(r.text.endsWith(text), r.text.constData());
    QCOMPARE(isWholeDisk(*mac, "disk4"), !unplug);
    if (!text.contains("replication failed"))
        QCOMPARE(entriesOf(*mac, "/Volumes/Backup"), before);
}
