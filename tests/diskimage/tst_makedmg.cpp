#include "tst_makedmg.h"

#include "DiskImageTestKit.h"
#include "TreeCompare.h"
#include "Wait.h"
#include "diskimage/MakeDmg.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace DiskImageTestKit;

namespace {

const QString kDest = QStringLiteral("/Volumes/DEST");

FileNodeRef node(const QString& path, bool folder) {
    return FileNode::initWithPath(path, path.section(QLatin1Char('/'), -1), folder, nullptr);
}

FileNodeRef withState(FileNodeRef n, qint64 state) {
    n->setState(state);
    return n;
}

// Runs a host tool and answers its output; the test fails when it does not end with 0.
QByteArray hostTool(const QString& program, const QStringList& args) {
    QProcess p;
    p.start(program, args);
    p.waitForFinished(60000);
    if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
        qWarning() << program << args << p.readAllStandardError();
    return p.exitCode() == 0 ? p.readAllStandardOutput() : QByteArray();
}

bool isMounted(const EmulatedMac& mac, const QString& name) {
    return mac.mountTable().contains(("/Volumes/" + name + " ").toUtf8());
}

bool called(const EmulatedMac& mac, const QString& tool, const QString& verb) {
    for (const QStringList& call : mac.calls(tool)) {
        if (call.value(1) == verb)
            return true;
    }
    return false;
}

} // namespace

void TestMakeDmg::imageHoldsTheItemsByteForByte() {
    auto mac = machine();
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    QVERIFY(writeHostFile(mac->host("/Volumes/SRC/" + awkwardName() + ".txt"), "awkward\n"));
    const QStringList items = {"/Volumes/SRC/Photos", "/Volumes/SRC/Report.docx", "/Volumes/SRC/Empty",
                               "/Volumes/SRC/" + awkwardName() + ".txt"};
    MakeDmg builder;
    Recorder rec;
    rec.attach(builder, items);
    mac->clearLog();
    builder.makeTmpDmgWithPath(kDest, awkwardName(), 600000);
    QVERIFY(waitUntil([&] { return rec.ended(); }, 60000));
    QVERIFY2(!rec.failure, "the image failed");
    QCOMPARE(rec.progress, (QList<float>{20, 20, 25, 50, 75, 100}));
    QVERIFY(rec.texts.count(MakeDmg::creatingText()) == rec.texts.size());
    QVERIFY(!builder.isBusy());

    // The tools saw the name as one argument, and no shell ran it.
    const QString image = kDest + "/" + awkwardName() + ".dmg";
    const QList<QStringList> hdiutil = mac->calls("hdiutil");
    QCOMPARE(hdiutil.size(), 2);
    QCOMPARE(hdiutil.at(0),
             (QStringList{"hdiutil", "create", image, "-volname", "TavrillDmg", "-size", "50600000", "-fs",
                          "HFS+", "-format", "UDRW", "-srcfolder", "/tmp/com.kelvaro.clone"}));
    QCOMPARE(hdiutil.at(1), (QStringList{"hdiutil", "mount", image}));
    QVERIFY(!QFileInfo::exists(mac->host("/pwned")) && !QFileInfo::exists(mac->host("/Volumes/DEST/pwned")));
    QVERIFY(!QFileInfo::exists(mac->host("/tmp/com.kelvaro.clone")));

    // Ejected by the UUID of the volume the run mounted.
    const QList<QStringList> diskutil = mac->calls("diskutil");
    QVERIFY(diskutil.contains(QStringList{"diskutil", "info", "-plist", "TavrillDmg"}));
    QCOMPARE(std::count_if(diskutil.begin(), diskutil.end(),
                           [](const QStringList& c) { return c.value(1) == QLatin1String("eject"); }),
             1);
    QVERIFY(!isMounted(*mac, "TavrillDmg"));

    // Mounted again, the image holds exactly the four items.
    QCOMPARE(mac->run("hdiutil", {"attach", image}).code, 0);
    const QString inside = mac->host("/Volumes/TavrillDmg");
    QStringList names;
    for (const QString& item : items) {
        names << item.section(QLatin1Char('/'), -1);
        const QString copy = inside + "/" + names.last();
        if (QFileInfo(mac->host(item)).isDir())
            QCOMPARE(contentDifferences(mac->host(item), copy), QStringList());
        else
            QCOMPARE(readHostFile(copy), readHostFile(mac->host(item)));
    }
    names.sort();
    QStringList top =
        QDir(inside).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    top.sort();
    QCOMPARE(top, names);
}

void TestMakeDmg::archiveUnzipsToTheSelection() {
    auto mac = machine();
    QVERIFY(mac->isValid());
    QVERIFY(writeHostFile(mac->host("/Volumes/SRC/" + awkwardName() + ".txt"), "awkward\n"));
    QVERIFY(writeHostFile(mac->host("/Volumes/SRC/Docs/a.txt"), "ticked"));
    QVERIFY(writeHostFile(mac->host("/Volumes/SRC/Docs/b.txt"), "not ticked"));
    // Photos whole, of Docs only a.txt, Notes.txt and the awkward file; not Report.docx.
    FileNodeRef docs = withState(node("/Volumes/SRC/Docs", true), 2);
    docs->setChildren(
        {node("/Volumes/SRC/Docs/a.txt", false), withState(node("/Volumes/SRC/Docs/b.txt", false), 0)});
    const FileNodeList nodes = {node("/Volumes/SRC/Photos", true), docs,
                                node("/Volumes/SRC/Notes.txt", false),
                                withState(node("/Volumes/SRC/Report.docx", false), 0),
                                node("/Volumes/SRC/" + awkwardName() + ".txt", false)};
    const QString zipPath = kDest + "/" + awkwardName() + ".zip";

    MakeDmg builder;
    Recorder rec;
    rec.attach(builder);
    mac->clearLog();
    builder.doZipWithPath(zipPath, nodes);
    QVERIFY(waitUntil([&] { return rec.ended(); }, 60000));
    QVERIFY2(!rec.failure, "the archive failed");
    QCOMPARE(rec.progress.last(), 100.0f);
    QCOMPARE(rec.texts.last(), QString());
    // Intermediate steps climb, stay below 100 and show zip's entry lines.
    for (qsizetype i = 0; i + 1 < rec.progress.size(); ++i) {
        QVERIFY(rec.progress.at(i) < 100);
        QVERIFY(i == 0 || rec.progress.at(i) > rec.progress.at(i - 1));
        QVERIFY2(rec.texts.at(i).startsWith("adding: "), qPrintable(rec.texts.at(i)));
    }
    QVERIFY(rec.progress.size() >= 2); // at least one step before the end
    // The bytes of every file taken, of the same, before the end.
    const QStringList selected = {"Photos", "Docs/a.txt", "Notes.txt", awkwardName() + ".txt"};
    qint64 fileBytes = 0;
    for (const QString& item : selected) {
        QDirIterator it(mac->host("/Volumes/SRC/" + item), QDirIterator::Subdirectories);
        const QFileInfo single(mac->host("/Volumes/SRC/" + item));
        if (single.isFile())
            fileBytes += single.size();
        while (it.hasNext()) {
            const QFileInfo info(it.next());
            if (info.isFile() && !info.isSymLink())
                fileBytes += info.size();
        }
    }
    QVERIFY(fileBytes > 0);
    QVERIFY(!rec.bytes.isEmpty());
    QCOMPARE(rec.bytes.last(), qMakePair(fileBytes, fileBytes));
    // zip runs on the volume's root and names the items from there.
    QCOMPARE(mac->calls("zip"), (QList<QStringList>{QStringList{"zip", "-r", zipPath} + selected}));

    // The real unzip lists and extracts exactly the selection, byte for byte, named as the user
    // sees the items on the volume.
    const QString hostZip = mac->host(zipPath);
    QStringList entries;
    const QRegularExpression entryLine(R"(^\s*\d+\s+\S+\s+\d\d:\d\d\s+(.+)$)");
    for (const QString& line : QString::fromUtf8(hostTool("unzip", {"-l", hostZip})).split('\n')) {
        const QRegularExpressionMatch match = entryLine.match(line);
        if (match.hasMatch())
            entries << match.captured(1);
    }
    entries.sort();
    QStringList expected = {"Docs/a.txt", "Notes.txt", "Photos/", awkwardName() + ".txt"};
    for (const QString& line : treeListing(mac->host("/Volumes/SRC/Photos")))
        expected << "Photos/" + line;
    expected.sort();
    QCOMPARE(entries, expected);
    QTemporaryDir out;
    hostTool("unzip", {"-q", hostZip, "-d", out.path()});
    QCOMPARE(contentDifferences(mac->host("/Volumes/SRC/Photos"), out.path() + "/Photos"), QStringList());
    for (const QString& item : selected.mid(1))
        QCOMPARE(readHostFile(out.path() + "/" + item), readHostFile(mac->host("/Volumes/SRC/" + item)));
}

void TestMakeDmg::stopInEachStageLeavesNothingBehind_data() {
    QTest::addColumn<QString>("stage");
    QTest::addColumn<QByteArray>("fault");
    QTest::newRow("create") << "create"
                            << QByteArray(R"({"tool":"hdiutil","verb":"create","mode":"hang","seconds":30})");
    QTest::newRow("mount") << "mount"
                           << QByteArray(R"({"tool":"hdiutil","verb":"mount","mode":"hang","seconds":2})");
    QTest::newRow("copy") << "copy" << QByteArray();
    QTest::newRow("eject") << "eject"
                           << QByteArray(R"({"tool":"diskutil","verb":"eject","mode":"hang","seconds":2})");
    QTest::newRow("zip") << "zip" << QByteArray();
}

void TestMakeDmg::stopInEachStageLeavesNothingBehind() {
    QFETCH(QString, stage);
    QFETCH(QByteArray, fault);
    auto mac = machine();
    QVERIFY(mac->isValid());
    // Something of the user's on the destination must survive the stop.
    QVERIFY(writeHostFile(mac->host(kDest + "/Keep.txt"), "keep"));
    QStringList items;
    for (int i = 0; i < 40; ++i) {
        const QString path = QStringLiteral("/Volumes/SRC/many/item%1.bin").arg(i);
        QVERIFY(writeHostFile(mac->host(path),
                              QByteArray(stage == "zip" ? 1000000 : 200000, char('a' + i % 26))));
        items << path;
    }
    if (!fault.isEmpty())
        QVERIFY(mac->addFault(fault));
    const QStringList before = treeListing(mac->host(kDest));

    MakeDmg builder;
    Recorder rec;
    rec.attach(builder, items);
    if (stage == "zip")
        builder.doZipWithPath(kDest + "/Stopped.zip", {node("/Volumes/SRC/many", true)});
    else
        builder.makeTmpDmgWithPath(kDest, "Stopped", 8000000);
    // Stop once the stage is under way, as the owner does.
    const bool reached = waitUntil(
        [&] {
            if (stage == "create")
                return called(*mac, "hdiutil", "create");
            if (stage == "mount")
                return called(*mac, "hdiutil", "mount");
            if (stage == "eject")
                return called(*mac, "diskutil", "eject");
            return rec.progress.size() >= (stage == "zip" ? 1 : 3);
        },
        30000);
    QVERIFY(reached);
    QVERIFY(!rec.ended());
    builder.setIsCancelCopy(true);
    builder.stopMakeDmg();
    QVERIFY(waitUntil([&] { return rec.ended(); }, 60000));
    QVERIFY(rec.stopped);
    QVERIFY(!rec.failure);
    QVERIFY(rec.progress.isEmpty() || rec.progress.last() < 100);
    QVERIFY(!builder.isBusy());
    // Only the partial file is gone; nothing is left mounted.
    QCOMPARE(treeListing(mac->host(kDest)), before);
    QVERIFY(!isMounted(*mac, "TavrillDmg"));
    QCOMPARE(QDir(mac->host("/Volumes/SRC/many")).count(), 40u + 2u);
    if (stage == "create")
        QVERIFY(!called(*mac, "hdiutil", "mount"));
}

void TestMakeDmg::imageVolumeIsOnlyEverItsOwn() {
    auto mac = machine();
    QVERIFY(mac->isValid());
    const QStringList before = treeListing(mac->host(kDest));
    // The owner goes away between the mount and its answer, as when the window closes.
    auto closing = std::make_unique<MakeDmg>();
    Recorder closingRec;
    closing->setMakeDmgDelegate(&closingRec);
    closing->makeTmpDmgWithPath(kDest, "Closed", 1000);
    QVERIFY(waitUntil([&] { return closingRec.beginCount == 1; }, 30000));
    QVERIFY(isMounted(*mac, "TavrillDmg"));
    closing.reset();
    QVERIFY(!isMounted(*mac, "TavrillDmg"));
    QCOMPARE(treeListing(mac->host(kDest)), before);

    // On the root volume the image goes into a folder of its own.
    mac->clearLog();
    MakeDmg builder;
    Recorder rec;
    rec.attach(builder, {"/Volumes/SRC/Notes.txt"});
    builder.makeTmpDmgWithPath("/", "OnRoot", 1000);
    QVERIFY(waitUntil([&] { return rec.ended(); }, 60000));
    QVERIFY(!rec.failure);
    QCOMPARE(mac->calls("hdiutil").value(0).value(2), QStringLiteral("/Tavrill_dmg/OnRoot.dmg"));
    QVERIFY(mac->calls("chmod").contains(QStringList{"chmod", "-R", "777", "/Tavrill_dmg"}));
    QCOMPARE(QFileInfo(mac->host("/Tavrill_dmg")).permissions() & QFileDevice::WriteOther,
             QFileDevice::WriteOther);
    QTemporaryDir inside;
    QVERIFY(mac->extractImage("/Tavrill_dmg/OnRoot.dmg", inside.path()));
    QCOMPARE(treeListing(inside.path()), QStringList{"Notes.txt"});

    // Someone's own image with the builder's volume name, mounted before the run.
    QCOMPARE(mac->run("hdiutil", {"create", "/Users/alex/Mine.dmg", "-volname", "TavrillDmg", "-size", "10m"})
                 .code,
             0);
    QCOMPARE(mac->run("hdiutil", {"attach", "/Users/alex/Mine.dmg"}).code, 0);
    QVERIFY(writeHostFile(mac->host("/Volumes/TavrillDmg/mine.txt"), "mine"));
    mac->clearLog();
    MakeDmg refused;
    Recorder refusedRec;
    refusedRec.attach(refused, {"/Volumes/SRC/Notes.txt"});
    refused.makeTmpDmgWithPath(kDest, "Refused", 1000);
    QVERIFY(waitUntil([&] { return refusedRec.ended(); }, 30000));
    QVERIFY(refusedRec.failure);
    QCOMPARE(refusedRec.failure->kind, MakeDmgFailure::Kind::VolumeInUse);
    QCOMPARE(refusedRec.beginCount, 0);
    QVERIFY(mac->calls("hdiutil").isEmpty());
    QVERIFY(!called(*mac, "diskutil", "eject"));
    QVERIFY(isMounted(*mac, "TavrillDmg"));
    QCOMPARE(QDir(mac->host("/Volumes/TavrillDmg")).entryList(QDir::Files), QStringList{"mine.txt"});
    QVERIFY(!QFileInfo::exists(mac->host(kDest + "/Refused.dmg")));
}

void TestMakeDmg::toolFailuresAndFullDestinations() {
    auto mac = machine();
    QVERIFY(mac->isValid());
    auto run = [&](const std::function<void(MakeDmg&)>& start) {
        MakeDmg builder;
        Recorder rec;
        rec.attach(builder, {"/Volumes/SRC/Notes.txt"});
        start(builder);
        waitUntil([&] { return rec.ended(); }, 30000);
        return rec;
    };
    // hdiutil create fails (the fault knob prints its failure and exits 1).
    QVERIFY(mac->addFault(R"({"tool":"hdiutil","verb":"create","mode":"fail","times":1})"));
    Recorder rec = run([](MakeDmg& b) { b.makeTmpDmgWithPath(kDest, "Faulty", 1000); });
    QVERIFY(rec.failure);
    QCOMPARE(rec.failure->kind, MakeDmgFailure::Kind::CreateFailed);
    QVERIFY(!called(*mac, "hdiutil", "mount"));
    // An image larger than the destination's free space.
    rec = run([](MakeDmg& b) { b.makeTmpDmgWithPath("/Volumes/TINY", "Huge", 200000000); });
    QVERIFY(rec.failure);
    QCOMPARE(rec.failure->kind, MakeDmgFailure::Kind::CreateFailed);
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/TINY/Huge.dmg")));
    QCOMPARE(rec.progress, QList<float>{20});
    // zip ends with 14 when the destination fills up: never a success.
    QVERIFY(mac->addFault(R"({"tool":"zip","mode":"fail","exit":14,"times":1})"));
    rec = run(
        [](MakeDmg& b) { b.doZipWithPath("/Volumes/TINY/Full.zip", {node("/Volumes/SRC/Photos", true)}); });
    QVERIFY(rec.failure);
    QCOMPARE(rec.failure->kind, MakeDmgFailure::Kind::ToolFailed);
    QCOMPARE(rec.failure->exitStatus, 14);
    QVERIFY(!rec.progress.contains(100.0f));
}

void TestMakeDmg::unreadableItemsAreCountedAsMissing() {
    auto mac = machine();
    QVERIFY(mac->isValid());
    QVERIFY(makeSocket(mac->host("/Volumes/SRC/listener")));
    const QStringList items = {"/Volumes/SRC/Notes.txt", "/Volumes/SRC/listener", "/Volumes/SRC/vanished.txt",
                               "/Volumes/SRC/Report.docx"};
    // The image: the two items that cannot be read are missing, the others are in it.
    MakeDmg builder;
    Recorder rec;
    rec.attach(builder, items);
    builder.makeTmpDmgWithPath(kDest, "Partial", 100000);
    QVERIFY(waitUntil([&] { return rec.ended(); }, 60000));
    QVERIFY(rec.failure);
    QCOMPARE(rec.failure->kind, MakeDmgFailure::Kind::ItemsMissing);
    QCOMPARE(rec.failure->missingItems, 2);
    QVERIFY(!rec.progress.contains(100.0f));
    QVERIFY(!isMounted(*mac, "TavrillDmg"));
    QTemporaryDir inside;
    QVERIFY(mac->extractImage(kDest + "/Partial.dmg", inside.path()));
    QCOMPARE(treeListing(inside.path()), (QStringList{"Notes.txt", "Report.docx"}));

    // The archive: zip says it skipped them (and ends with 18 for the one it could not open).
    Recorder zipRec;
    builder.setMakeDmgDelegate(&zipRec);
    FileNodeList nodes;
    for (const QString& item : items)
        nodes << node(item, false);
    builder.doZipWithPath(kDest + "/Partial.zip", nodes);
    QVERIFY(waitUntil([&] { return zipRec.ended(); }, 60000));
    QVERIFY(zipRec.failure);
    QCOMPARE(zipRec.failure->kind, MakeDmgFailure::Kind::ItemsMissing);
    QCOMPARE(zipRec.failure->missingItems, 2);
    QCOMPARE(zipRec.failure->exitStatus, 18);
    QVERIFY(!zipRec.progress.contains(100.0f));
}

void TestMakeDmg::emptyFoldersZipWithoutACount() {
    auto mac = machine();
    QVERIFY(mac->isValid());
    QVERIFY(QDir().mkpath(mac->host("/Volumes/SRC/Hollow/Inner")));
    FileNodeRef hollow = withState(node("/Volumes/SRC/Hollow", true), 2);
    hollow->setChildren({node("/Volumes/SRC/Hollow/Inner", true)});
    MakeDmg builder;
    Recorder rec;
    rec.attach(builder);
    builder.doZipWithPath(kDest + "/Hollow.zip", {hollow, node("/Volumes/SRC/Empty", true)});
    QVERIFY(waitUntil([&] { return rec.ended(); }, 30000));
    QVERIFY(!rec.failure);
    // No share to show without a count: only the end.
    QCOMPARE(rec.progress, QList<float>{100});
    QCOMPARE(QString::fromUtf8(hostTool("unzip", {"-Z1", mac->host(kDest + "/Hollow.zip")})),
             QStringLiteral("Hollow/Inner/\nEmpty/\n"));
}
