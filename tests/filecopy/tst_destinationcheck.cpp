#include "tst_destinationcheck.h"

#include "Fixtures.h"
#include "TestMachine.h"
#include "filecopy/DestinationCheck.h"

#include <QFile>
#include <QTest>

namespace {

using Problem = DestinationCheck::Problem;

// "path kind" for each item found, in the order found.
QStringList found(const QList<DestinationCheck::Item>& items) {
    QStringList lines;
    for (const DestinationCheck::Item& item : items) {
        const char* kind = item.problem == Problem::TooLarge      ? "large"
                           : item.problem == Problem::RefusedName ? "name"
                                                                  : "case";
        lines << item.path + QLatin1Char(' ') + QLatin1String(kind);
    }
    return lines;
}

void makeSparse(TestMachine& mac, const QString& macPath, qint64 size) {
    mac.writeFile(macPath, QByteArray());
    QFile file(mac.host(macPath));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.resize(size));
}

} // namespace

void TestDestinationCheck::findsWhatAFatStickCannotStore() {
    TestMachine mac;
    makeSparse(mac, "/Volumes/Src/movie.mkv", 5'000'000'000LL);
    makeSparse(mac, "/Volumes/Src/exactly4G.bin", 4294967295LL);
    mac.writeFile("/Volumes/Src/notes 10:30.txt", "colon");
    mac.writeFile("/Volumes/Src/whole/fine.txt", "fine");
    mac.writeFile("/Volumes/Src/whole/deeper/what?.txt", "question mark");
    makeSparse(mac, "/Volumes/Src/whole/deeper/disk.img", 4294967296LL);
    mac.writeFile("/Volumes/Src/Half/ticked.txt", "ticked");
    mac.writeFile("/Volumes/Src/Half/untick:ed.txt", "not ticked, not listed");
    mac.writeFile("/Volumes/Src/Half/Sub|dir/x.txt", "in a half-selected folder with a bad name");

    FileNodeRef half = folderNode("/Volumes/Src/Half", 2);
    fileNode("/Volumes/Src/Half/ticked.txt", 6, 1, half.data());
    fileNode("/Volumes/Src/Half/untick:ed.txt", 5, 0, half.data());
    FileNodeRef sub = folderNode("/Volumes/Src/Half/Sub|dir", 2, half.data());
    fileNode("/Volumes/Src/Half/Sub|dir/x.txt", 5, 1, sub.data());
    const FileNodeList top = {fileNode("/Volumes/Src/movie.mkv", 5'000'000'000ULL),
                              fileNode("/Volumes/Src/exactly4G.bin", 4294967295ULL),
                              fileNode("/Volumes/Src/notes 10:30.txt", 5),
                              folderNode("/Volumes/Src/whole"),
                              half,
                              fileNode("/Volumes/Src/unticked:top.txt", 1, 0)};

    const auto items =
        DestinationCheck::check(top, DestinationCheck::Rules::forFileSystem("msdos", false), true);
    QStringList lines = found(items);
    // Inside a folder the order is the disk's.
    std::sort(lines.begin() + 2, lines.begin() + 4);
    QCOMPARE(lines,
             (QStringList{"/Volumes/Src/movie.mkv large", "/Volumes/Src/notes 10:30.txt name",
                          "/Volumes/Src/whole/deeper/disk.img large",
                          "/Volumes/Src/whole/deeper/what?.txt name", "/Volumes/Src/Half/Sub|dir name"}));
    QVERIFY(items.first().text().startsWith("movie.mkv (5.00 GB)"));
    QCOMPARE(DestinationCheck::pathsOf(items).size(), 5);

    // A stop asked for before the walk finds nothing more.
    std::atomic<bool> stop{true};
    QVERIFY(DestinationCheck::check(top, DestinationCheck::Rules::forFileSystem("msdos", false), true, &stop)
                .isEmpty());
}

void TestDestinationCheck::caseClashesOnAVolumeThatFoldsCase() {
    TestMachine mac;
    mac.writeFile("/Volumes/Src/README.TXT", "top");
    mac.writeFile("/Volumes/Src/Docs/Readme.txt",
                  "lands beside README.TXT: the half-selected Docs is flattened");
    mac.writeFile("/Volumes/Src/Docs/other.txt", "fine");
    mac.writeFile("/Volumes/Src/Proj/a.c", "lower");
    mac.writeFile("/Volumes/Src/Proj/A.c", "upper");
    FileNodeRef docs = folderNode("/Volumes/Src/Docs", 2);
    fileNode("/Volumes/Src/Docs/Readme.txt", 10, 1, docs.data());
    fileNode("/Volumes/Src/Docs/other.txt", 4, 1, docs.data());
    const FileNodeList top = {fileNode("/Volumes/Src/README.TXT", 3), docs, folderNode("/Volumes/Src/Proj")};

    const DestinationCheck::Rules apfs = DestinationCheck::Rules::forFileSystem("apfs", false);
    const QStringList lines = found(DestinationCheck::check(top, apfs, false));
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines[0], QStringLiteral("/Volumes/Src/Docs/Readme.txt case"));
    QVERIFY(lines[1] == "/Volumes/Src/Proj/a.c case" || lines[1] == "/Volumes/Src/Proj/A.c case");
    // A source that folds case cannot hold both inside a folder; only the top level is compared.
    QCOMPARE(found(DestinationCheck::check(top, apfs, true)),
             QStringList{"/Volumes/Src/Docs/Readme.txt case"});
    // A case-sensitive destination takes everything.
    QVERIFY(
        DestinationCheck::check(top, DestinationCheck::Rules::forFileSystem("apfs", true), false).isEmpty());
}
