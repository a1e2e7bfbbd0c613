#include "EmulatorTestKit.h"

#include <QFileInfo>
#include <QProcess>
#include <QTest>

namespace {

struct AsrRun {
    QList<QByteArray> chunks;
    QByteArray text;
    int code = -1;
};

// Runs asr as root as the clone engine does: reads its output chunk by chunk and answers the
// prompt with a single "y" when it appears. `onChunk` may act mid-run.
AsrRun runAsr(const EmulatedMac& mac, const QString& target,
              const std::function<void(const QByteArray&)>& onChunk) {
    AsrRun r;
    QProcess p;
    p.setProcessEnvironment(EmulatedMac::rootEnvironment());
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
        onChunk(r.text);
        if (!answered && r.text.contains("[ny]")) {
            p.write("y");
            p.closeWriteChannel();
            answered = true;
        }
    }
    if (const QByteArray rest = p.readAllStandardOutput(); !rest.isEmpty()) {
        r.chunks << rest;
        r.text += rest;
    }
    r.code = p.exitCode();
    return r;
}

} // namespace

void TestEmulator::asrRestores_data() {
    // asr settings ("key=value"); "unplug" pulls the target out after "20"
    QTest::addColumn<QStringList>("knobs");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QByteArray>("text"); // how the output ends; all of it after a "+"
    const QString backup = QStringLiteral("/Volumes/Backup");
    const QByteArray pass = "\tReplicating ....10....20....30....40....50....60....70....80....90....100\n";
    const QByteArray restored =
        "+\tValidating target...done\n\tValidating source...done\n\tErase contents of "
        "/dev/disk4s2 (/Volumes/Backup)? [ny]: \n" +
        pass + pass +
        "\tRestored target device is /dev/disk4s2.\n\tRemounting target volume...done\n"
        "Restore completed successfully.\n";
    for (const char* delivery : {"token", "line", "buffered"})
        QTest::newRow(delivery) << QStringList{QStringLiteral("delivery=") + delivery} << backup << restored;
    // Unset: stdio's way on a pipe, everything held back but the prompt.
    QTest::newRow("unset") << QStringList() << backup << restored;
    QTest::newRow("failed at the knob's percentage")
        << QStringList{"failAt=40"} << backup
        << QByteArray("\tReplicating ....10....20....30....40\nVolume replication failed - error 49244\n");
    QTest::newRow("target pulled out") << QStringList{"delivery=token", "stepDelayMs=150", "unplug"} << backup
                                       << QByteArray("\nVolume replication failed - Device not configured\n");
    QTest::newRow("target not mounted")
        << QStringList() << QStringLiteral("/Volumes/NewCloneSystem")
        << QByteArray("+\tValidating target...\nCould not validate target - No such file or directory\n");
}

void TestEmulator::asrRestores() {
    QFETCH(QStringList, knobs);
    QFETCH(QString, target);
    QFETCH(QByteArray, text);
    const bool unplug = knobs.removeAll(QStringLiteral("unplug")) > 0;
    const QString delivery = knobs.filter("delivery=").value(0).mid(9);
    for (const QString& knob : QStringList{"pieceDelayMs=25", "stepDelayMs=0"} + knobs)
        QVERIFY(mac->setAsr(knob.section(QLatin1Char('='), 0, 0), knob.section(QLatin1Char('='), 1)));
    const QStringList before = entriesOf(*mac, "/Volumes/Backup");
    bool pulled = false;
    const AsrRun r = runAsr(*mac, target, [&](const QByteArray& out) {
        if (unplug && !pulled && out.contains("....20"))
            pulled = mac->unplug("backup");
    });
    QCOMPARE(pulled, unplug);
    QCOMPARE(isWholeDisk(*mac, "disk4"), !unplug);
    if (text.startsWith('+'))
        QCOMPARE(r.text, text.mid(1));
    else
        QVERIFY2(r.text.endsWith(text), r.text.constData());
    if (!text.endsWith("successfully.\n")) {
        QCOMPARE(r.code, 1);
        if (!text.contains("replication failed"))
            QCOMPARE(entriesOf(*mac, "/Volumes/Backup"), before);
        return;
    }
    QCOMPARE(r.code, 0);
    // How the output came: a token delivery sends every piece on its own, "done" apart from its
    // step and "100" alone; a line delivery whole lines but for the prompt.
    QCOMPARE(int(r.chunks.count("100")), delivery == QLatin1String("token") ? 2 : 0);
    QCOMPARE(r.chunks.contains("\tValidating target..."), delivery == QLatin1String("token"));
    for (const QByteArray& c : r.chunks)
        QVERIFY2(delivery != QLatin1String("line") || c.endsWith('\n') || c.contains("[ny]"), c.constData());
    QVERIFY(delivery != QLatin1String("buffered") || r.chunks.size() <= 4);
    QVERIFY(!delivery.isEmpty() || (r.chunks.size() == 2 && r.chunks.first().endsWith("[ny]: ")));
    // The target carries the system's name (TestBootable::clonesInEveryDelivery compares the
    // copied trees); the erase removed what it held; the mount folders of "/" were not copied.
    QCOMPARE(fieldsOf(mac->diskInfo("disk4s2"), {"MountPoint", "VolumeName"}),
             QStringLiteral("/Volumes/Macintosh HD 1|Macintosh HD"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/Macintosh HD 1/.DS_Store")));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/Macintosh HD 1/System/Volumes")));
}
