#include "DiskImageTestKit.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "Wait.h"
#include "diskimage/MakeDmg.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <functional>
#include <optional>

using namespace DiskImageTestKit;

namespace {

const QString kDest = QStringLiteral("/Volumes/DEST");
// A name that a shell would take apart: quotes, a command substitution, non-Latin letters.
const QString kAwkward = QStringLiteral("Tavrill \"q\" 'x' $(touch pwned) `id` \u00dcbung \u540d\u524d");

// A builder and a record of everything it tells its owner.
struct Build : MakeDmgDelegate {
    QList<float> progress;
    QStringList texts;
    QList<QPair<qint64, qint64>> bytes; // done, to do
    std::optional<MakeDmgFailure> failure;
    bool stopped = false;
    int beginCount = 0;
    // Copied into the image once it is mounted, as the owner does, unless it never answers.
    QStringList copyPaths;
    bool answers = true;
    MakeDmg dmg; // last, so that it goes first while the record still stands

    explicit Build(const QStringList& paths = {}, bool answer = true) : copyPaths(paths), answers(answer) {
        dmg.setMakeDmgDelegate(this);
    }
    void copyFileToDmgWithFileName(const QString& text, float value) override {
        texts << text;
        progress << value;
    }
    void makeDmgFailWithError(const MakeDmgFailure& f) override { failure = f; }
    void beginToCopyDmg() override {
        if (++beginCount && answers)
            dmg.doCopyFilesToDmgWithDmg(copyPaths);
    }
    void makeDmgDidStop() override { stopped = true; }
    void makeDmgBytes(std::int64_t done, std::int64_t toDo) override { bytes.append({done, toDo}); }

    bool ended() const {
        return failure.has_value() || stopped || (!progress.isEmpty() && progress.last() >= 100);
    }
    bool waitForEnd(int ms = 60000) const {
        return waitUntil([this] { return ended(); }, ms);
    }
    // Forgets what was recorded, for the next run of the same builder.
    void forget() { progress = {}, texts = {}, bytes = {}, failure.reset(), stopped = false; }
};

// Where two trees differ in their entries, links or the bytes of a file; neither times (images and
// archives keep whole seconds) nor permission bits are compared.
QStringList contentDifferences(const QString& hostA, const QString& hostB) {
    QStringList out = compareTrees(hostA, hostB);
    out.removeIf([](const QString& line) {
        return line.contains(QLatin1String(": mode ")) ||
               line.endsWith(QLatin1String(": modification time differs"));
    });
    return out;
}

// A node of the file list: 1 ticked, 2 half-ticked, 0 not ticked.
FileNodeRef node(const QString& path, bool folder, qint64 state = 1) {
    FileNodeRef n = FileNode::initWithPath(path, path.section(QLatin1Char('/'), -1), folder, nullptr);
    n->setState(state);
    return n;
}

// Runs a host tool and answers its output; nothing when it does not end with 0.
QByteArray hostTool(const QString& program, const QStringList& args) {
    QProcess p;
    p.start(program, args);
    return p.waitForFinished(60000) && p.exitCode() == 0 ? p.readAllStandardOutput() : QByteArray();
}

// Copies items of /Volumes/SRC (relative paths) into a host folder at the same paths: what an
// image or archive of them must hold.
void copyItems(const EmulatedMac& mac, const QStringList& items, const QString& hostFolder) {
    for (const QString& item : items) {
        QDir().mkpath(QFileInfo(hostFolder + "/" + item).path());
        hostTool("cp", {"-R", mac.host("/Volumes/SRC/" + item), hostFolder + "/" + item});
    }
}

bool isMounted(const EmulatedMac& mac, const QString& name) {
    return mac.mountTable().contains(("/Volumes/" + name + " ").toUtf8());
}

qsizetype callsOf(const EmulatedMac& mac, const QString& tool, const QString& verb) {
    const QList<QStringList> calls = mac.calls(tool);
    return std::count_if(calls.begin(), calls.end(),
                         [&](const QStringList& call) { return call.value(1) == verb; });
}

} // namespace

class TestMakeDmg : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void imageHoldsTheItemsByteForByte() {
        auto mac = machine();
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        QVERIFY(writeHostFile(mac->host("/Volumes/SRC/" + kAwkward + ".txt"), "awkward\n"));
        const QStringList names = {"Photos", "Report.docx", "Empty", kAwkward + ".txt"};
        Build rec(QStringList(names).replaceInStrings(QRegularExpression("^"), "/Volumes/SRC/"));
        mac->clearLog();
        rec.dmg.makeTmpDmgWithPath(kDest, kAwkward, 600000);
        QVERIFY(rec.waitForEnd());
        QVERIFY2(!rec.failure, "the image failed");
        QCOMPARE(rec.progress, (QList<float>{20, 20, 25, 50, 75, 100}));
        QCOMPARE(rec.texts, QStringList(6, QStringLiteral("Creating disk image\u2026")));
        QVERIFY(!rec.dmg.isBusy());

        // The tools saw the name as one argument, and no shell ran it.
        const QString image = kDest + "/" + kAwkward + ".dmg";
        QCOMPARE(
            mac->calls("hdiutil"),
            (QList<QStringList>{{"hdiutil", "create", image, "-volname", "TavrillDmg", "-size", "50600000",
                                 "-fs", "HFS+", "-format", "UDRW", "-srcfolder", "/tmp/com.kelvaro.clone"},
                                {"hdiutil", "mount", image}}));
        QVERIFY(!QFileInfo::exists(mac->host("/pwned")) &&
                !QFileInfo::exists(mac->host("/Volumes/DEST/pwned")));
        QVERIFY(!QFileInfo::exists(mac->host("/tmp/com.kelvaro.clone")));

        // Ejected by the UUID of the volume the run mounted.
        QVERIFY(mac->calls("diskutil").contains(QStringList{"diskutil", "info", "-plist", "TavrillDmg"}));
        QCOMPARE(callsOf(*mac, "diskutil", "eject"), 1);
        QVERIFY(!isMounted(*mac, "TavrillDmg"));

        // Mounted again, the image holds exactly the four items.
        QCOMPARE(mac->run("hdiutil", {"attach", image}).code, 0);
        QTemporaryDir expected;
        copyItems(*mac, names, expected.path());
        QCOMPARE(contentDifferences(expected.path(), mac->host("/Volumes/TavrillDmg")), QStringList());
    }

    void archivesUnzipToTheSelection() {
        auto mac = machine();
        QVERIFY(mac->isValid());
        QVERIFY(writeHostFile(mac->host("/Volumes/SRC/" + kAwkward + ".txt"), "awkward\n"));
        QVERIFY(writeHostFile(mac->host("/Volumes/SRC/Docs/a.txt"), "ticked"));
        QVERIFY(writeHostFile(mac->host("/Volumes/SRC/Docs/b.txt"), "not ticked"));
        // Photos whole, of Docs only a.txt, Notes.txt and the awkward file; not Report.docx.
        FileNodeRef docs = node("/Volumes/SRC/Docs", true, 2);
        docs->setChildren(
            {node("/Volumes/SRC/Docs/a.txt", false), node("/Volumes/SRC/Docs/b.txt", false, 0)});
        const FileNodeList nodes = {
            node("/Volumes/SRC/Photos", true), docs, node("/Volumes/SRC/Notes.txt", false),
            node("/Volumes/SRC/Report.docx", false, 0), node("/Volumes/SRC/" + kAwkward + ".txt", false)};
        const QString zipPath = kDest + "/" + kAwkward + ".zip";

        Build rec;
        mac->clearLog();
        rec.dmg.doZipWithPath(zipPath, nodes);
        QVERIFY(rec.waitForEnd());
        QVERIFY2(!rec.failure, "the archive failed");
        QCOMPARE(rec.progress.last(), 100.0f);
        QCOMPARE(rec.texts.last(), QString());
        // At least one step before the end; the steps climb (no step is at or below the one before)
        // and show zip's entry lines.
        QVERIFY(rec.progress.size() >= 2);
        QVERIFY(std::adjacent_find(rec.progress.begin(), rec.progress.end(), std::greater_equal<float>()) ==
                rec.progress.end());
        for (qsizetype i = 0; i + 1 < rec.texts.size(); ++i)
            QVERIFY2(rec.texts.at(i).startsWith("adding: "), qPrintable(rec.texts.at(i)));
        // zip runs on the volume's root and names the items from there.
        const QStringList selected = {"Photos", "Docs/a.txt", "Notes.txt", kAwkward + ".txt"};
        QCOMPARE(mac->calls("zip"), (QList<QStringList>{QStringList{"zip", "-r", zipPath} + selected}));
        // The real unzip extracts exactly the selection, byte for byte, named as the user sees the
        // items on the volume; the bytes of every file taken (Photos' two pictures, a.txt, Notes.txt
        // and the awkward file) were told before the end.
        QTemporaryDir expected;
        copyItems(*mac, selected, expected.path());
        QTemporaryDir out;
        hostTool("unzip", {"-q", mac->host(zipPath), "-d", out.path()});
        QCOMPARE(contentDifferences(expected.path(), out.path()), QStringList());
        QCOMPARE(rec.bytes.value(rec.bytes.size() - 1), qMakePair(qint64(470020), qint64(470020)));

        // Empty folders only, by the same builder: no share to show without a count, only the end.
        QVERIFY(QDir().mkpath(mac->host("/Volumes/SRC/Hollow/Inner")));
        FileNodeRef hollow = node("/Volumes/SRC/Hollow", true, 2);
        hollow->setChildren({node("/Volumes/SRC/Hollow/Inner", true)});
        rec.forget();
        rec.dmg.doZipWithPath(kDest + "/Hollow.zip", {hollow, node("/Volumes/SRC/Empty", true)});
        QVERIFY(rec.waitForEnd(30000));
        QVERIFY(!rec.failure);
        QCOMPARE(rec.progress, QList<float>{100});
        QCOMPARE(QString::fromUtf8(hostTool("unzip", {"-Z1", mac->host(kDest + "/Hollow.zip")})),
                 QStringLiteral("Hollow/Inner/\nEmpty/\n"));
    }

    void stopInEachStageLeavesNothingBehind_data() {
        QTest::addColumn<QString>("stage");
        QTest::addColumn<QByteArray>("fault"); // the stage is under way once its tool has been called
        const auto row = [](const char* stage, const char* fault) {
            QTest::newRow(stage) << QString::fromLatin1(stage) << QByteArray(fault);
        };
        row("create", R"({"tool":"hdiutil","verb":"create","mode":"hang","seconds":30})");
        row("mount", R"({"tool":"hdiutil","verb":"mount","mode":"hang","seconds":2})");
        row("copy", "");
        row("eject", R"({"tool":"diskutil","verb":"eject","mode":"hang","seconds":2})");
        row("zip", "");
    }

    void stopInEachStageLeavesNothingBehind() {
        QFETCH(QString, stage);
        QFETCH(QByteArray, fault);
        auto mac = machine();
        QVERIFY(mac->isValid());
        // Something of the user's on the destination must survive the stop.
        QVERIFY(writeHostFile(mac->host(kDest + "/Keep.txt"), "keep"));
        QStringList items;
        for (int i = 0; i < 40; ++i) {
            items << QStringLiteral("/Volumes/SRC/many/item%1.bin").arg(i);
            QVERIFY(writeHostFile(mac->host(items.last()),
                                  QByteArray(stage == "zip" ? 1000000 : 200000, char('a' + i % 26))));
        }
        if (!fault.isEmpty())
            QVERIFY(mac->addFault(fault));
        const QStringList before = treeListing(mac->host(kDest));
        const QJsonObject knob = QJsonDocument::fromJson(fault).object();

        Build rec(items);
        if (stage == "zip")
            rec.dmg.doZipWithPath(kDest + "/Stopped.zip", {node("/Volumes/SRC/many", true)});
        else
            rec.dmg.makeTmpDmgWithPath(kDest, "Stopped", 8000000);
        // Stop once the stage is under way, as the owner does.
        QVERIFY(waitUntil(
            [&] {
                return fault.isEmpty()
                           ? rec.progress.size() >= (stage == "zip" ? 1 : 3)
                           : callsOf(*mac, knob.value("tool").toString(), knob.value("verb").toString());
            },
            30000));
        QVERIFY(!rec.ended());
        rec.dmg.setIsCancelCopy(true);
        rec.dmg.stopMakeDmg();
        QVERIFY(rec.waitForEnd());
        QVERIFY(rec.stopped);
        QVERIFY(!rec.failure);
        QVERIFY(rec.progress.isEmpty() || rec.progress.last() < 100);
        QVERIFY(!rec.dmg.isBusy());
        // Only the partial file is gone; nothing is left mounted.
        QCOMPARE(treeListing(mac->host(kDest)), before);
        QVERIFY(!isMounted(*mac, "TavrillDmg"));
        QCOMPARE(QDir(mac->host("/Volumes/SRC/many")).count(), 40u + 2u);
        if (stage == "create")
            QVERIFY(!callsOf(*mac, "hdiutil", "mount"));
    }

    void imageVolumeIsOnlyEverItsOwn() {
        auto mac = machine();
        QVERIFY(mac->isValid());
        const QStringList before = treeListing(mac->host(kDest));
        // The owner goes away between the mount and its answer, as when the window closes.
        auto closing = std::make_unique<Build>(QStringList(), false);
        closing->dmg.makeTmpDmgWithPath(kDest, "Closed", 1000);
        QVERIFY(waitUntil([&] { return closing->beginCount == 1; }, 30000));
        QVERIFY(isMounted(*mac, "TavrillDmg"));
        closing.reset();
        QVERIFY(!isMounted(*mac, "TavrillDmg"));
        QCOMPARE(treeListing(mac->host(kDest)), before);

        // On the root volume the image goes into a folder of its own.
        mac->clearLog();
        Build rec({"/Volumes/SRC/Notes.txt"});
        rec.dmg.makeTmpDmgWithPath("/", "OnRoot", 1000);
        QVERIFY(rec.waitForEnd());
        QVERIFY(!rec.failure);
        QCOMPARE(mac->calls("hdiutil").value(0).value(2), QStringLiteral("/Tavrill_dmg/OnRoot.dmg"));
        QVERIFY(mac->calls("chmod").contains(QStringList{"chmod", "-R", "777", "/Tavrill_dmg"}));
        QCOMPARE(QFileInfo(mac->host("/Tavrill_dmg")).permissions() & QFileDevice::WriteOther,
                 QFileDevice::WriteOther);
        QTemporaryDir inside;
        QVERIFY(mac->extractImage("/Tavrill_dmg/OnRoot.dmg", inside.path()));
        QCOMPARE(treeListing(inside.path()), QStringList{"Notes.txt"});

        // Someone's own image with the builder's volume name, mounted before the run.
        QCOMPARE(
            mac->run("hdiutil", {"create", "/Users/alex/Mine.dmg", "-volname", "TavrillDmg", "-size", "10m"})
                .code,
            0);
        QCOMPARE(mac->run("hdiutil", {"attach", "/Users/alex/Mine.dmg"}).code, 0);
        QVERIFY(writeHostFile(mac->host("/Volumes/TavrillDmg/mine.txt"), "mine"));
        mac->clearLog();
        Build refusedRec({"/Volumes/SRC/Notes.txt"});
        refusedRec.dmg.makeTmpDmgWithPath(kDest, "Refused", 1000);
        QVERIFY(refusedRec.waitForEnd(30000));
        QVERIFY(refusedRec.failure);
        QCOMPARE(refusedRec.failure->kind, MakeDmgFailure::Kind::VolumeInUse);
        QCOMPARE(refusedRec.beginCount, 0);
        QVERIFY(mac->calls("hdiutil").isEmpty());
        QVERIFY(!callsOf(*mac, "diskutil", "eject"));
        QVERIFY(isMounted(*mac, "TavrillDmg"));
        QCOMPARE(QDir(mac->host("/Volumes/TavrillDmg")).entryList(QDir::Files), QStringList{"mine.txt"});
        QVERIFY(!QFileInfo::exists(mac->host(kDest + "/Refused.dmg")));
    }

    void toolFailuresAndMissingItems() {
        auto mac = machine();
        QVERIFY(mac->isValid());
        // hdiutil create fails (the fault knob prints its failure and exits 1), or the image is larger
        // than the destination's free space: nothing is mounted and no image is left.
        QVERIFY(mac->addFault(R"({"tool":"hdiutil","verb":"create","mode":"fail","times":1})"));
        for (const QString& folder : {kDest, QStringLiteral("/Volumes/TINY")}) {
            Build rec({"/Volumes/SRC/Notes.txt"});
            rec.dmg.makeTmpDmgWithPath(folder, "Failed", folder == kDest ? 1000 : 200000000);
            QVERIFY(rec.waitForEnd(30000) && rec.failure);
            QCOMPARE(rec.failure->kind, MakeDmgFailure::Kind::CreateFailed);
            QCOMPARE(rec.progress, QList<float>{20});
            QVERIFY(!QFileInfo::exists(mac->host(folder + "/Failed.dmg")));
        }
        QVERIFY(!callsOf(*mac, "hdiutil", "mount"));
        // zip ends with 14 when the destination fills up: never a success.
        QVERIFY(mac->addFault(R"({"tool":"zip","mode":"fail","exit":14,"times":1})"));
        Build full;
        full.dmg.doZipWithPath("/Volumes/TINY/Full.zip", {node("/Volumes/SRC/Photos", true)});
        QVERIFY(full.waitForEnd(30000) && full.failure);
        QCOMPARE(full.failure->kind, MakeDmgFailure::Kind::ToolFailed);
        QCOMPARE(full.failure->exitStatus, 14);
        QVERIFY(!full.progress.contains(100.0f));

        // Items that cannot be read are counted as missing, in an image and in an archive.
        QVERIFY(makeSocket(mac->host("/Volumes/SRC/listener")));
        const QStringList items = {"/Volumes/SRC/Notes.txt", "/Volumes/SRC/listener",
                                   "/Volumes/SRC/vanished.txt", "/Volumes/SRC/Report.docx"};
        // The image: the two items that cannot be read are missing, the others are in it.
        Build rec(items);
        rec.dmg.makeTmpDmgWithPath(kDest, "Partial", 100000);
        QVERIFY(rec.waitForEnd() && rec.failure);
        QCOMPARE(rec.failure->kind, MakeDmgFailure::Kind::ItemsMissing);
        QCOMPARE(rec.failure->missingItems, 2);
        QVERIFY(!rec.progress.contains(100.0f));
        QVERIFY(!isMounted(*mac, "TavrillDmg"));
        QTemporaryDir inside;
        QVERIFY(mac->extractImage(kDest + "/Partial.dmg", inside.path()));
        QCOMPARE(treeListing(inside.path()), (QStringList{"Notes.txt", "Report.docx"}));

        // The archive, by the same builder: zip says it skipped them (and ends with 18 for the one
        // it could not open).
        rec.forget();
        rec.dmg.doZipWithPath(kDest + "/Partial.zip", {node(items[0], false), node(items[1], false),
                                                       node(items[2], false), node(items[3], false)});
        QVERIFY(rec.waitForEnd() && rec.failure);
        QCOMPARE(rec.failure->kind, MakeDmgFailure::Kind::ItemsMissing);
        QCOMPARE(rec.failure->missingItems, 2);
        QCOMPARE(rec.failure->exitStatus, 18);
        QVERIFY(!rec.progress.contains(100.0f));
    }
};

TAVRILL_TEST(TestMakeDmg)

#include "tst_makedmg.moc"
