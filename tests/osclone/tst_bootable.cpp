#include "TestMain.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "osclone/CloneTargetCheck.h"
#include "osclone/QvBootable.h"
#include "volumes/VolumeEnumerator.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <algorithm>

using namespace VolumesTestKit;

namespace {

using Report = QPair<int, int>; // (error, step)

struct Recorder : QvBootableDelegate {
    QList<Report> reports;
    QList<QPair<int, int>> tenths; // (tag, pass)
    QStringList labels;
    std::function<void(int, int)> onTenth;

    void QvUINotify(const QvProgressRecord* r) override {
        reports << Report(r->errorCode, r->stepCode);
        // Each of the eight steps is an eighth of the bar, cut to whole percents.
        static const int percentOfStep[] = {0, 12, 25, 37, 50, 62, 75, 87, 100};
        QVERIFY(r->stepCode >= 0 && r->stepCode <= 8);
        QCOMPARE(r->percent, percentOfStep[r->stepCode]);
    }
    void changeProTimeWithTag(int tag, int step) override {
        tenths << qMakePair(tag, step);
        if (onTenth)
            onTenth(tag, step);
    }
    void changeProLabelValue(const QString& text) override { labels << text; }
};

const QByteArray kInternal =
    "{\"name\":\"inner\",\"bus\":\"SATA\",\"internal\":true,\"ejectable\":false,"
    "\"mediaName\":\"ST2000DM008\",\"size\":\"2TB\",\"scheme\":\"GPT\",\"partitions\":"
    "[{\"fs\":\"JHFS+\",\"name\":\"Data\",\"seed\":{\"files\":4,\"seed\":2}}]}";

// The whole disk of a volume.
QString diskOf(const EmulatedMac& mac, const QString& volume) {
    return deviceOf(mac, volume).section(QLatin1Char('s'), 0, 1);
}

// The record the drive picker makes for a whole USB disk.
VolumeObjRef driveRecord(const EmulatedMac& mac, const QString& disk) {
    return VolumeEnumerator::usbDiskFromInfo(mac.diskInfo(disk));
}

// The engine, with its log opened anew on the machine of the test.
QvBootable* engine() {
    QvBootable* e = QvBootable::QvShareInstance();
    e->QvUninit();
    e->QvInit();
    return e;
}

QJsonArray disksExcept(const EmulatedMac& mac, const QString& disk) {
    const QJsonObject state = QJsonDocument::fromJson(mac.emuctl({QStringLiteral("state")}).out).object();
    QJsonArray out;
    for (const QJsonValue& d : state.value("disks").toArray()) {
        // An APFS container made on the disk is the disk's.
        if (d.toObject().value("id").toString() != disk &&
            !d.toObject().value("physicalStore").toString().startsWith(disk + QLatin1Char('s')))
            out << d;
    }
    return out;
}

// A clone that ends before its end.
struct EndCase {
    QByteArray fault;
    // "failAt", "unplug", "swap", the answer to the rights dialog, or "stop after" a call or a tenth
    QString cause;
    Report last; // the last report
    bool erased; // the erase ran
    bool restoreRan;
    bool stickKept; // the stick's own volume is still there
};

} // namespace

Q_DECLARE_METATYPE(EndCase)

// The clone engine on an emulated Mac: what it runs, in what order and with which arguments,
// the reports it gives for every way the restore tool delivers its output, its failures and
// stops, and the last look at the target before the erase.
class TestBootable : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void clonesInEveryDelivery_data() {
        QTest::addColumn<QString>("delivery");
        QTest::addColumn<QByteArray>("version");
        QTest::addColumn<QString>("fileSystem");
        QTest::addColumn<bool>("eraseRefused"); // the disk tool refuses the erase to the user
        QTest::newRow("token, 10.15") << "token" << QByteArray("10.15.7") << "JHFS+" << false;
        QTest::newRow("line, 10.12") << "line" << QByteArray("10.12.6") << "HFS+" << false;
        QTest::newRow("everything at exit, 10.13") << "buffered" << QByteArray("10.13.6") << "APFS" << false;
        // The tool's own way: it writes as it goes when it sees a terminal.
        QTest::newRow("unset, 10.14") << "" << QByteArray("10.14.6") << "APFS" << false;
        QTest::newRow("token, 11, erase refused to the user")
            << "token" << QByteArray("11.7.10") << "JHFS+" << true;
    }

    void clonesInEveryDelivery() {
        QFETCH(QString, delivery);
        QFETCH(QByteArray, version);
        QFETCH(QString, fileSystem);
        QFETCH(bool, eraseRefused);
        QByteArray asr = "\"stepDelayMs\":40,\"pieceDelayMs\":30";
        if (!delivery.isEmpty())
            asr += ",\"delivery\":\"" + delivery.toUtf8() + "\"";
        auto mac =
            machine(version, kInternal + "," + usbStick("stick") + "," + usbStick("other", "8GB"),
                    "\"home\":{\"files\":4,\"folders\":2,\"depth\":2,\"seed\":5},\"asr\":{" + asr + "}");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        // An erase refused to the user runs again as root, without a second dialog.
        QVERIFY(
            !eraseRefused ||
            mac->addFault("{\"tool\":\"diskutil\",\"verb\":\"eraseDisk\",\"mode\":\"fail\",\"unlessRoot\":"
                          "true,\"message\":\"Error: -69877: Couldn't open device\"}"));
        const QString disk = diskOf(*mac, "/Volumes/STICK");
        const VolumeObjRef target = driveRecord(*mac, disk);
        const QJsonArray others = disksExcept(*mac, disk);
        mac->clearLog();
        Recorder rec;
        QvBootable* e = engine();
        e->QvSetDelegate(&rec);
        QCOMPARE(e->QvStart(target), 0);
        QVERIFY(waitUntil([e] { return !e->isRunning(); }, 90000));
        e->QvSetDelegate(nullptr);

        // The stages in order, and the tenths of both passes in order up to the last: piece by piece a
        // busy reader may get two pieces at once, which costs a report (the reader's tests fix each
        // cut exactly); a line at a time each pass counts as its "20". Everything in one piece at the
        // end is read as the target's validation: no copy stage or tenth, and the verdict still reads
        // every line.
        const bool buffered = delivery == QLatin1String("buffered");
        QCOMPARE(rec.reports.mid(0, 5), (QList<Report>{{0, 0}, {0, 1}, {0, 2}, {0, 3}, {0, 3}}));
        QCOMPARE(rec.reports.last(), Report(0, 8));
        QCOMPARE(rec.reports.contains(Report(0, 5)), !buffered);
        QCOMPARE(rec.labels.contains("Cloning..."), !buffered);
        QVERIFY(!buffered || rec.reports.size() == 6);
        if (delivery == QLatin1String("line"))
            QCOMPARE(rec.tenths, (QList<QPair<int, int>>{{2, 1}, {2, 2}}));
        else if (!buffered)
            QVERIFY(rec.tenths.size() >= 10 && rec.tenths.last() == qMakePair(10, 2));
        QVERIFY(!buffered || rec.tenths.isEmpty());
        for (qsizetype i = 1; i < rec.tenths.size(); ++i) {
            const auto before = qMakePair(rec.tenths[i - 1].second, rec.tenths[i - 1].first);
            QVERIFY(before < qMakePair(rec.tenths[i].second, rec.tenths[i].first));
        }

        // The exact commands, in order.
        QList<QStringList> changes;
        for (const QStringList& c : mac->calls()) {
            if (c.value(1) != QLatin1String("info") && c.first() != QLatin1String("sw_vers"))
                changes << c;
        }
        const QStringList restore{"asr",     "restore",   "--source",
                                  "/",       "--target",  "/Volumes/NewCloneSystem",
                                  "--erase", "--noprompt"};
        const QStringList erase{"diskutil", "eraseDisk", fileSystem, "NewCloneSystem", disk};
        QCOMPARE(changes.value(1).mid(0, 2), (QStringList{"osascript", "-e"}));
        changes.removeAt(1);
        QList<QStringList> expected{{"killall", "mds_stores"}, erase};
        if (eraseRefused)
            expected << erase;
        // The drive is unmounted and mounted again on 10.15 and later only.
        if (version >= "10.15")
            expected << QStringList{"diskutil", "unmountDisk", "/dev/" + disk}
                     << QStringList{"diskutil", "mountDisk", "/dev/" + disk};
        QCOMPARE(changes, expected << restore);
        // Only the restore (and a refused erase) ran as root, after the one administrator dialog.
        QCOMPARE(mac->rootCalls(),
                 eraseRefused ? (QList<QStringList>{erase, restore}) : QList<QStringList>{restore});
        // The tool's whole output is in the log.
        QVERIFY(readHostFile(mac->host("/tmp/Pellory.txt")).contains("Restore completed successfully."));

        // The clone's volume carries the system's name and the system's files; no other disk changed.
        const QString mount = QStringLiteral("/Volumes/Macintosh HD 1");
        int files = 0;
        for (const QString top : {"Applications", "Library", "Users"}) {
            const QString source = mac->host("/" + top);
            for (const QString& line : compareTrees(source, mac->host(mount + QStringLiteral("/") + top))) {
                // Folders keep their contents, not their times.
                if (!line.endsWith(QLatin1String("modification time differs")) ||
                    !QFileInfo(source + QLatin1Char('/') + line.section(QStringLiteral(": "), 0, 0)).isDir())
                    QFAIL(qPrintable(line));
            }
            for (QDirIterator it(source, QDir::Files, QDirIterator::Subdirectories); it.hasNext(); it.next())
                ++files;
        }
        QVERIFY(files > 5);
        QCOMPARE(disksExcept(*mac, disk), others);
    }

    void endsEarly_data() {
        QTest::addColumn<EndCase>("c");
        const auto row = [](const char* tag, const QByteArray& fault, const char* cause, Report last,
                            bool erased, bool restoreRan, bool stickKept) {
            QTest::newRow(tag) << EndCase{fault,    QString::fromLatin1(cause), last, erased, restoreRan,
                                          stickKept};
        };
        const auto hang = [](const QByteArray& toolAndVerb, const QByteArray& seconds) {
            return R"({)" + toolAndVerb + R"(,"mode":"hang","seconds":)" + seconds + "}";
        };
        row("erase leaves no volume", R"({"tool":"diskutil","verb":"eraseDisk","mode":"fail"})", "", {-4, 3},
            true, false, true);
        row("restore tool fails", {}, "failAt", {-7, 8}, true, true, false);
        row("drive pulled out while copying", {}, "unplug", {-3, 8}, true, true, false);
        // The confirmed stick is pulled out and an internal disk takes its name before the start.
        row("another drive under the confirmed name", {}, "swap", {-9, 2}, false, false, false);
        row("rights refused", {}, "deny", {-10, 2}, false, false, true);
        row("rights dialog cancelled", {}, "cancel", {-11, 2}, false, false, true);
        row("stopped before the erase", hang("\"tool\":\"killall\"", "2"), "stop after killall", {-8, 1},
            false, false, true);
        row("stopped during the erase", hang("\"tool\":\"diskutil\",\"verb\":\"eraseDisk\"", "20"),
            "stop after eraseDisk", {-8, 2}, true, false, true);
        row("stopped before the restore", hang("\"tool\":\"diskutil\",\"verb\":\"unmountDisk\"", "2"),
            "stop after unmountDisk", {-8, 3}, true, false, false);
        row("stopped during the restore", {}, "stop after tenth", {-7, 8}, true, true, false);
    }

    void endsEarly() {
        QFETCH(EndCase, c);
        // A volume already named as the clone's first choice is never the restore's target.
        const QByteArray busyName =
            "{\"name\":\"busy\",\"mediaName\":\"busy\",\"size\":\"8GB\",\"scheme\":\"GPT\","
            "\"partitions\":[{\"fs\":\"JHFS+\",\"name\":\"NewCloneSystem\"}]}";
        auto mac = machine("10.15.7", kInternal + "," + usbStick("stick") + "," + busyName,
                           "\"asr\":{\"stepDelayMs\":150,\"pieceDelayMs\":0,\"delivery\":\"token\"}");
        QVERIFY(mac->isValid());
        QVERIFY(c.fault.isEmpty() || mac->addFault(c.fault));
        if (c.cause == QLatin1String("failAt"))
            QVERIFY(mac->setAsr(c.cause, QStringLiteral("40")));
        if (c.cause == QLatin1String("deny") || c.cause == QLatin1String("cancel"))
            QVERIFY(mac->setAuthorization(c.cause));
        const QString disk = diskOf(*mac, "/Volumes/STICK");
        const VolumeObjRef target = driveRecord(*mac, disk);
        if (c.cause == QLatin1String("swap")) {
            QVERIFY(mac->unplug("stick"));
            QCOMPARE(
                mac->plug("{\"name\":\"swapped\",\"id\":\"" + disk.toUtf8() +
                          "\",\"bus\":\"USB\",\"internal\":true,\"mediaName\":\"stick\",\"size\":\"16GB\","
                          "\"scheme\":\"MBR\",\"partitions\":[{\"fs\":\"FAT32\",\"name\":\"KEEP\"}]}"),
                disk);
        }
        const QByteArray before = mac->emuctl({QStringLiteral("state")}).out;
        Recorder rec;
        if (c.cause == QLatin1String("unplug")) {
            rec.onTenth = [&](int tag, int pass) {
                if (tag == 3 && pass == 1)
                    QVERIFY(mac->unplug("stick"));
            };
        }
        QvBootable* e = engine();
        e->QvSetDelegate(&rec);
        QCOMPARE(e->QvStart(target), 0);
        QElapsedTimer clock;
        clock.start();
        const bool stop = c.cause.startsWith(QLatin1String("stop after "));
        if (stop) {
            const QString after = c.cause.mid(11);
            QVERIFY(waitUntil(
                [&] {
                    for (const QStringList& call : mac->calls())
                        if (call.contains(after))
                            return true;
                    return after == QLatin1String("tenth") && !rec.tenths.isEmpty();
                },
                30000));
            QCOMPARE(e->QvStop(), 0);
            // A start refused while the stopped clone still runs leaves it stopped.
            if (e->isRunning()) {
                QCOMPARE(e->QvStart(target), QvBootable::kErrNoTarget);
                QVERIFY(e->QvUserIsCancel());
            }
        }
        QVERIFY(waitUntil([e] { return !e->isRunning(); }, 90000));
        // A stop ends it well before the hanging tool would have answered.
        QVERIFY(!stop || clock.elapsed() < 15000);
        e->QvSetDelegate(nullptr);
        QCOMPARE(rec.reports.last(), c.last);
        QCOMPARE(rec.reports.count(rec.reports.last()), 1);
        const auto ran = [&](const QString& tool, const QString& verb) {
            const QList<QStringList> calls = mac->calls(tool);
            return std::any_of(calls.cbegin(), calls.cend(),
                               [&](const QStringList& call) { return call.value(1) == verb; });
        };
        QCOMPARE(ran("diskutil", "eraseDisk"), c.erased);
        QCOMPARE(ran("asr", "restore"), c.restoreRan);
        // No rights are asked for a drive that is not the confirmed one, nor after a stop before them.
        QCOMPARE(ran("osascript", "-e"), c.last.second >= 2 && c.last.first != -9);
        // The restore ran as root; the stop reached it there.
        QVERIFY(mac->runningTools(QStringLiteral("asr")).isEmpty());
        QCOMPARE(QFileInfo::exists(mac->host("/Volumes/STICK")), c.stickKept);
        // Without the erase nothing on the Mac changed.
        if (!c.erased)
            QCOMPARE(mac->emuctl({QStringLiteral("state")}).out, before);
        for (const QStringList& call : mac->calls("asr"))
            QCOMPARE(call.value(5), QStringLiteral("/Volumes/NewCloneSystem1"));
        QCOMPARE(mac->diskInfo("/Volumes/NewCloneSystem").value("VolumeName").toString(),
                 QStringLiteral("NewCloneSystem"));
    }

    void targetRefusals_data() {
        QTest::addColumn<QVariantMap>("change");
        QTest::addColumn<QString>("reason"); // empty: may be erased
        QTest::newRow("the confirmed drive") << QVariantMap() << QString();
        QTest::newRow("gone") << QVariantMap{{"gone", true}} << "no longer attached";
        QTest::newRow("internal") << QVariantMap{{"Internal", true}} << "internal";
        QTest::newRow("not USB") << QVariantMap{{"BusProtocol", "SATA"}} << "whole USB disk";
        QTest::newRow("a volume") << QVariantMap{{"WholeDisk", false}} << "whole USB disk";
        QTest::newRow("a mounted image") << QVariantMap{{"VirtualOrPhysical", "Virtual"}} << "whole USB disk";
        QTest::newRow("another size") << QVariantMap{{"TotalSize", 16000000001LL}} << "not the confirmed";
        QTest::newRow("another model")
            << QVariantMap{{"IORegistryEntryName", "Kingston DT Media"}} << "not the confirmed";
        QTest::newRow("holds the system") << QVariantMap{{"system", true}} << "running system";
    }

    void targetRefusals() {
        QFETCH(QVariantMap, change);
        QFETCH(QString, reason);
        QVariantMap info{{"DeviceIdentifier", "disk4"},
                         {"WholeDisk", true},
                         {"BusProtocol", "USB"},
                         {"Internal", false},
                         {"TotalSize", 16000000000LL},
                         {"VirtualOrPhysical", "Physical"},
                         {"IORegistryEntryName", "SanDisk Cruzer Media"}};
        info.insert(change); // the keys "system" and "gone" are the test's own
        QStringList system{QStringLiteral("disk0"), QStringLiteral("disk1")};
        if (change.contains("system"))
            system << QStringLiteral("disk4");
        const QString refusal = refuseCloneTarget(
            {QStringLiteral("disk4"), 16000000000LL, QStringLiteral("SanDisk Cruzer Media")},
            change.contains("gone") ? std::nullopt : std::optional<QVariantMap>(info), system);
        QVERIFY2(reason.isEmpty() ? refusal.isEmpty() : refusal.contains(reason), qPrintable(refusal));

        // The disks of an APFS volume are its container's and its physical store's.
        QCOMPARE(wholeDisksOfVolume(
                     {{"DeviceIdentifier", "disk1s5"},
                      {"ParentWholeDisk", "disk1"},
                      {"APFSPhysicalStores", QVariantList{QVariantMap{{"APFSPhysicalStore", "disk0s2"}}}}}),
                 (QStringList{"disk1", "disk0"}));
    }
};

TAVRILL_TEST(TestBootable)

#include "tst_bootable.moc"
