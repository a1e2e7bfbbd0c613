#include "TestMain.h"
#include "osclone/AsrOutputParser.h"

#include <QTest>

namespace {

using Kind = AsrReport::Kind;
using Tenths = QList<QPair<int, int>>; // (tag, pass)

const QByteArray kPrompt = "\tErase contents of /dev/disk4s2 (/Volumes/NewCloneSystem)? [ny]: ";
const QByteArray kHead = "\tValidating target...done\n\tValidating source...done\n";
const QByteArray kDots = "....10....20....30....40....50....60....70....80....90....100";
const QByteArray kTail = "\tRestored target device is /dev/disk4s2.\n\tRemounting target volume...done\n"
                         "Restore completed successfully.\n";

// The pieces a tool writing as it goes prints, as the emulated asr does on a terminal.
QByteArrayList pieces(const QStringList& passes = {"Replicating ", "Replicating "}) {
    QByteArrayList out{"\tValidating target...", "done\n", "\tValidating source...", "done\n", kPrompt, "\n"};
    for (const QString& label : passes) {
        out << "\t" + label.toUtf8();
        for (int step = 1; step <= 10; ++step)
            out << "...." << QByteArray::number(step * 10);
        out << "\n";
    }
    return out << "\tRestored target device is /dev/disk4s2.\n"
               << "\tRemounting target volume..."
               << "done\n"
               << "Restore completed successfully.\n";
}

struct Fed {
    QList<int> steps;
    Tenths tenths;
    QStringList labels;
    int answers = 0;
    QList<AsrReport> all;
};

Fed feedAll(AsrOutputParser& parser, const QByteArrayList& chunks) {
    Fed f;
    for (const QByteArray& chunk : chunks) {
        for (const AsrReport& r : parser.feed(chunk)) {
            f.all << r;
            if (r.kind == Kind::Step)
                f.steps << r.value;
            else if (r.kind == Kind::Tenth)
                f.tenths << qMakePair(r.value, r.pass);
            else if (r.kind == Kind::Label)
                f.labels << r.text;
            else
                ++f.answers;
        }
    }
    return f;
}

} // namespace

// Reading the restore tool's output: the stages, tenths and status texts that each way of
// cutting it into chunks yields, answering its question, and the end verdict.
class TestAsrOutput : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void reportsOfEachCut_data() {
        QTest::addColumn<QByteArrayList>("chunks");
        QTest::addColumn<QList<int>>("steps");
        QTest::addColumn<Tenths>("tenths");
        Tenths full;
        for (int pass = 1; pass <= 2; ++pass) {
            for (int tag = 1; tag <= 10; ++tag)
                full << qMakePair(tag, pass);
        }
        QByteArrayList lines = pieces().join().split('\n');
        for (QByteArray& line : lines)
            line += '\n';
        lines.removeLast();
        const QByteArray pass = "\tReplicating " + kDots + "\n";
        const QByteArray cutPrompt = kPrompt.left(kPrompt.indexOf("[ny]") + 2);
        QTest::newRow("as the tool writes it") << pieces() << QList<int>{3, 4, 5} << full;
        // The older two-phase restore counts its passes the same way.
        QTest::newRow("older two-phase restore")
            << pieces({"Restoring  ", "Verifying  "}) << QList<int>{3, 4, 5} << full;
        // Each pass line names "10" and "100", so it counts as its "20".
        QTest::newRow("a line a chunk") << lines << QList<int>{3, 4, 5} << Tenths{{2, 1}, {2, 2}};
        // All but the prompt held back: the validations with the question, the whole copy in one chunk.
        QTest::newRow("two blocks") << QByteArrayList{kHead + kPrompt, "\n" + pass + pass + kTail}
                                    << QList<int>{3, 5} << Tenths{{2, 1}};
        // A mark cut in two is lost; the others are read in the chunk they arrive in.
        QTest::newRow("marks cut in two")
            << QByteArrayList{kPrompt, "\n\tReplicating ", "....10....2", "0....3", "0....40", "....50"}
            << QList<int>{5} << Tenths{{1, 1}, {4, 1}, {5, 1}};
        // "10" is tested first, "100" last: 10 with 20 is a 1, 90 with 100 a 9.
        QTest::newRow("marker order")
            << QByteArrayList{kPrompt, "\tReplicating ", "....10....20", "....90....100", "100"}
            << QList<int>{5} << Tenths{{1, 1}, {9, 1}, {10, 1}};
        // The validations before the question still count (the target's only, as the text is shortened).
        QTest::newRow("validations with the prompt")
            << QByteArrayList{kHead + kPrompt} << QList<int>{3} << Tenths();
        QTest::newRow("prompt cut inside its marker")
            << QByteArrayList{cutPrompt, kPrompt.mid(cutPrompt.size())} << QList<int>() << Tenths();
    }

    void reportsOfEachCut() {
        QFETCH(QByteArrayList, chunks);
        QFETCH(QList<int>, steps);
        QFETCH(Tenths, tenths);
        AsrOutputParser parser;
        const Fed f = feedAll(parser, chunks);
        QCOMPARE(f.steps, steps);
        QCOMPARE(f.tenths, tenths);
        // The question is answered once, after whatever came before it in its chunk.
        QCOMPARE(f.answers, 1);
        QCOMPARE(f.all.last().kind == Kind::AnswerPrompt, chunks.last().endsWith(kPrompt.right(3)));
    }

    void labelsAndRepeats() {
        // The tool's own words before and after; "Cloning..." while copying.
        AsrOutputParser parser;
        const Fed f = feedAll(parser, pieces());
        QCOMPARE(f.labels.first(), QStringLiteral("Validating target..."));
        QVERIFY(f.labels.contains("Cloning..."));
        QVERIFY(!f.labels.contains("...."));
        QCOMPARE(f.labels.last(), QStringLiteral("Restore completed successfully.\n"));
        // Both phase labels in one chunk count as one pass.
        AsrOutputParser both;
        QCOMPARE(feedAll(both, {kPrompt, "\tRestoring  \tVerifying  ", "....10"}).tenths, (Tenths{{1, 1}}));
        // The question alone is answered with nothing else reported, and starts the count of passes
        // anew.
        AsrOutputParser again;
        feedAll(again, {kPrompt, "\tReplicating ", "100", "\tReplicating ", "100"});
        QCOMPARE(feedAll(again, {kPrompt}).all, (QList<AsrReport>{{Kind::AnswerPrompt, 0, 0, QString()}}));
        QCOMPARE(feedAll(again, {"\tReplicating ", "....10"}).tenths, (Tenths{{1, 1}}));
    }

    void verdict_data() {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<bool>("normalExit");
        QTest::addColumn<bool>("succeeded");
        const QByteArray pass = "\tReplicating " + kDots + "\n";
        QTest::newRow("closing line") << pieces().join() << 0 << true << true;
        QTest::newRow("two passes, no closing line") << kPrompt + "\n" + pass + pass << 0 << true << true;
        QTest::newRow("last pass without line end")
            << kPrompt + "\n" + pass + pass.chopped(1) << 0 << true << true;
        QTest::newRow("one pass") << kPrompt + "\n" + pass << 0 << true << false;
        QTest::newRow("failed after two passes")
            << kPrompt + "\n" + pass + pass + "Could not restore - Device not configured\n"
            << 1 << true << false;
        QTest::newRow("failed in a pass")
            << kPrompt + "\n\tReplicating ....10....20....30....40\nVolume replication failed - error 49244\n"
            << 1 << true << false;
        QTest::newRow("killed") << pieces().join() << 15 << false << false;
        QTest::newRow("passes before the prompt only") << pass + pass + kPrompt << 0 << true << false;
        QTest::newRow("dots of a partial pass")
            << kPrompt + "\n\tReplicating ....10....100\n" + pass << 0 << true << false;
    }

    void verdict() {
        QFETCH(QByteArray, output);
        QFETCH(int, exitCode);
        QFETCH(bool, normalExit);
        QFETCH(bool, succeeded);
        // However the output is cut, the verdict is the same.
        for (const int size : {1, 7, 64, int(output.size())}) {
            AsrOutputParser parser;
            for (qsizetype at = 0; at < output.size(); at += size)
                parser.feed(output.mid(at, size));
            QVERIFY2(parser.succeeded(exitCode, normalExit) == succeeded, qPrintable(QString::number(size)));
        }
    }
};

TAVRILL_TEST(TestAsrOutput)

#include "tst_asroutput.moc"
