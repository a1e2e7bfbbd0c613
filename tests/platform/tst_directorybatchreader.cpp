#include "TestMain.h"
#include "TreeCompare.h"
#include "platform/DirectoryBatchReader.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

struct Seen {
    bool isDirectory;
    bool isSymbolicLink;
    quint64 dataLength;
};

// Reads a whole folder, recording the size of each batch and its result.
QMap<QString, Seen> readAll(DirectoryBatchReader& reader, QList<int>* batchSizes,
                            DirectoryBatchReader::ReadResult* last) {
    QMap<QString, Seen> seen;
    auto batch = std::make_unique<DirectoryBatch>();
    DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
    while (result == DirectoryBatchReader::ReadResult::Success) {
        result = reader.readBatch(*batch);
        batchSizes->append(batch->count);
        for (int i = 0; i < batch->count; ++i) {
            const DirectoryEntry& e = batch->entries[i];
            seen.insert(e.nameString(), {e.isDirectory, e.isSymbolicLink, e.dataLength});
        }
    }
    *last = result;
    return seen;
}

void write(const QString& path, qsizetype length) {
    QVERIFY(writeHostFile(path, QByteArray(length, 'x')));
}

} // namespace

class TestDirectoryBatchReader : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void readsBatchesOfFortyWithTypesAndLengths() {
        QTemporaryDir dir;
        for (int i = 0; i < 90; ++i)
            write(dir.filePath(QStringLiteral("file%1").arg(i)), i * 3);
        QDir(dir.path()).mkpath("sub/inner");
        write(dir.filePath("sub/inner/x"), 10);
        write(dir.filePath(".hidden"), 7);
        write(dir.filePath(QString::fromUtf8("caf\xc3\xa9 \xe2\x9c\x93")), 2);
        QVERIFY(makeLink("sub", dir.filePath("to-folder")));
        QVERIFY(makeLink("no/such/thing", dir.filePath("dangling")));
        // 95 entries: two full batches and a last one of 15.

        DirectoryBatchReader reader(dir.path());
        QCOMPARE(reader.status(), DirectoryBatchReader::OpenStatus::Open);
        QList<int> sizes;
        DirectoryBatchReader::ReadResult last;
        const QMap<QString, Seen> seen = readAll(reader, &sizes, &last);
        QCOMPARE(sizes, (QList<int>{40, 40, 15}));
        QCOMPARE(last, DirectoryBatchReader::ReadResult::NoMoreItems);
        QCOMPARE(seen.size(), 95);
        QVERIFY(!seen.contains(".") && !seen.contains(".."));
        for (int i = 0; i < 90; ++i) {
            const Seen s = seen.value(QStringLiteral("file%1").arg(i));
            QVERIFY(!s.isDirectory && !s.isSymbolicLink);
            QCOMPARE(s.dataLength, quint64(i * 3));
        }
        QVERIFY(seen["sub"].isDirectory);
        QCOMPARE(seen["sub"].dataLength, quint64(0)); // a folder's own data length is 0, not its block size
        QCOMPARE(seen[".hidden"].dataLength, quint64(7));
        QCOMPARE(seen[QString::fromUtf8("caf\xc3\xa9 \xe2\x9c\x93")].dataLength, quint64(2));
        // Links describe themselves: not a folder, the length of the target text.
        QVERIFY(seen["to-folder"].isSymbolicLink && !seen["to-folder"].isDirectory);
        QCOMPARE(seen["to-folder"].dataLength, quint64(3));
        QVERIFY(seen["dangling"].isSymbolicLink);
        QCOMPARE(seen["dangling"].dataLength, quint64(13));
    }

    void fullLastBatchIsFollowedByAnEmptyEnd() {
        QTemporaryDir dir;
        for (int i = 0; i < 40; ++i)
            write(dir.filePath(QStringLiteral("f%1").arg(i)), 1);
        DirectoryBatchReader reader(dir.path());
        QList<int> sizes;
        DirectoryBatchReader::ReadResult last;
        QCOMPARE(readAll(reader, &sizes, &last).size(), 40);
        QCOMPARE(sizes, (QList<int>{40, 0}));
        QCOMPARE(last, DirectoryBatchReader::ReadResult::NoMoreItems);

        QTemporaryDir empty;
        DirectoryBatchReader emptyReader(empty.path());
        sizes.clear();
        QCOMPARE(readAll(emptyReader, &sizes, &last).size(), 0);
        QCOMPARE(sizes, (QList<int>{0}));
        QCOMPARE(last, DirectoryBatchReader::ReadResult::NoMoreItems);
    }

    void opensFoldersOnlyAndFollowsOnlyTheUsersLink() {
        QTemporaryDir dir;
        write(dir.filePath("file"), 42);
        QDir(dir.path()).mkpath("folder");
        write(dir.filePath("folder/in"), 1);
        QVERIFY(makeLink("folder", dir.filePath("link")));
        QVERIFY(makeLink("file", dir.filePath("filelink")));

        QCOMPARE(DirectoryBatchReader(dir.filePath("file")).status(),
                 DirectoryBatchReader::OpenStatus::NotAFolder);
        QCOMPARE(DirectoryBatchReader(dir.filePath("filelink")).status(),
                 DirectoryBatchReader::OpenStatus::NotAFolder);
        QCOMPARE(DirectoryBatchReader(dir.filePath("missing")).status(),
                 DirectoryBatchReader::OpenStatus::Failed);
        // A path given by the user is followed to the folder it names.
        DirectoryBatchReader viaLink(dir.filePath("link"));
        QCOMPARE(viaLink.status(), DirectoryBatchReader::OpenStatus::Open);
        auto batch = std::make_unique<DirectoryBatch>();
        QCOMPARE(viaLink.readBatch(*batch), DirectoryBatchReader::ReadResult::NoMoreItems);
        QCOMPARE(batch->count, 1);

        ItemInfo info = readItemInfo(dir.filePath("link"), false);
        QVERIFY(info.exists && info.isSymbolicLink && !info.isDirectory);
        info = readItemInfo(dir.filePath("link"), true);
        QVERIFY(info.exists && info.isDirectory && !info.isSymbolicLink);
        QCOMPARE(info.dataLength, quint64(0));
        QCOMPARE(readItemInfo(dir.filePath("filelink"), true).dataLength, quint64(42));
        QCOMPARE(readItemInfo(dir.filePath("filelink"), false).dataLength, quint64(4));
        QVERIFY(!readItemInfo(dir.filePath("missing"), true).exists);

        // Sub-folders open from their parent without following links.
        write(dir.filePath("folder/file"), 1);
        DirectoryBatchReader top(dir.path());
        DirectoryBatchReader sub(top, "folder");
        QCOMPARE(sub.status(), DirectoryBatchReader::OpenStatus::Open);
        sub.readBatch(*batch);
        QCOMPARE(batch->count, 2);
        QVERIFY(DirectoryBatchReader(top, "link").status() != DirectoryBatchReader::OpenStatus::Open);
        QCOMPARE(DirectoryBatchReader(top, "file").status(), DirectoryBatchReader::OpenStatus::NotAFolder);
        QCOMPARE(DirectoryBatchReader(top, "missing").status(), DirectoryBatchReader::OpenStatus::Failed);
    }
};

TAVRILL_TEST(TestDirectoryBatchReader)

#include "tst_directorybatchreader.moc"
