#include "TestMain.h"
#include "diskimage/ZipProgressReader.h"

#include <QTest>

namespace {

// Real-shaped output of "zip -r" over two folders, with an "updating:" line and Mac paths, and
// as zip 3.0 prints a missing item and an unreadable one (the latter also had its "adding:").
const QByteArray kOutput = "  adding: Volumes/STICK/Photos/ (stored 0%)\n"
                           "  adding: Volumes/STICK/Photos/IMG_0001.JPG (deflated 3%)\n"
                           "\tzip warning: name not matched: Volumes/STICK/gone.txt\n"
                           "  adding: Volumes/STICK/Photos/Trip/ (stored 0%)\n"
                           "  adding: Volumes/STICK/Photos/Trip/IMG_0002.JPG (stored 0%)\n"
                           "  adding: Volumes/STICK/listener\n"
                           "\tzip warning: could not open for reading: Volumes/STICK/listener\n"
                           "updating: Volumes/STICK/Report.docx (deflated 41%)\n"
                           "  adding: Volumes/STICK/\xe5\x90\x8d \"q\" $(x).txt (deflated 62%)\r\n"
                           "\n"
                           "zip warning: Not all files were readable\n"
                           "  files/entries read:  6 (3 bytes)  skipped:  1 (0 bytes)\n";

} // namespace

class TestZipProgressReader : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void countsEntriesHoweverTheOutputIsSplit() {
        // Every way of cutting the output in two, and byte by byte: seven entries, counted as their
        // lines end, and two items zip could not take.
        for (qsizetype cut = 0; cut <= kOutput.size(); ++cut) {
            ZipProgressReader reader;
            const QByteArray ended = kOutput.first(kOutput.first(cut).lastIndexOf('\n') + 1);
            QCOMPARE(reader.feed(QByteArrayView(kOutput).first(cut)),
                     std::uint64_t(ended.count("adding: ") + ended.count("updating: ")));
            reader.feed(QByteArrayView(kOutput).sliced(cut));
            QCOMPARE(reader.addedCount(), std::uint64_t(7));
            QCOMPARE(reader.missingCount(), std::uint64_t(2));
            QCOMPARE(reader.lastEntry(),
                     QByteArray("adding: Volumes/STICK/\xe5\x90\x8d \"q\" $(x).txt (deflated 62%)"));
        }
        ZipProgressReader bytewise;
        std::uint64_t total = 0;
        for (char c : kOutput)
            total += bytewise.feed(QByteArrayView(&c, 1));
        QCOMPARE(total, std::uint64_t(7));
        // A last line without its line break counts when zip ends.
        ZipProgressReader unterminated;
        QCOMPARE(unterminated.feed("  adding: a (stored 0%)\n  adding: b (stored 0%)"), std::uint64_t(1));
        QCOMPARE(unterminated.finish(), std::uint64_t(1));
        QCOMPARE(unterminated.addedCount(), std::uint64_t(2));
        QCOMPARE(unterminated.finish(), std::uint64_t(0));
        // Of an endless line only the head is kept (4096 bytes, less the two spaces before "adding:").
        bytewise.feed("  adding: ");
        for (int i = 0; i < 8; ++i)
            QCOMPARE(bytewise.feed(QByteArray(1 << 20, 'x')), std::uint64_t(0));
        QCOMPARE(bytewise.feed("\n"), std::uint64_t(1));
        QCOMPARE(bytewise.lastEntry().size(), qsizetype(4094));
    }
};

TAVRILL_TEST(TestZipProgressReader)

#include "tst_zipprogressreader.moc"
