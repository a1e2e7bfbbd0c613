#include "tst_asroutput.h"

#include "osclone/AsrOutputParser.h"

#include <QTest>

namespace {

using Kind = AsrReport::Kind;

const QByteArray kPrompt = "\tErase contents of /dev/disk4s2 (/Volumes/NewCloneSystem)? [ny]: ";
const QByteArray kHead = "\tValidating target...done\n\tValidating source...done\n";
const QByteArray kDots = "....10....20....30....40....50....60....70....80....90....100";
const QByteArray kTail = "\tRestored target device is /dev/disk4s2.\n\tRemounting target volume...done\n"
                         "Restore completed successfully.\n";

// The pieces a tool writing as it goes prints, as the emulated asr does on a terminal.
QList<QByteArray> pieces(const QStringList& passes = {"Replicating ", "Replicating "}) {
    QList<QByteArray> out{
        "\tValidating target...", "done\n", "\tValidating source...", "done\n", kPrompt, "\n"};
    for (const QString& label : passes) {
        out << "\t" + label.toUtf8();
        for (int step = 1; step <= 10; ++step)
            out << "...." << QByteArray::number(step * 10);
        out << "\n";
    }
    out << "\tRestored target device is /dev/disk4s2.\n"
        << "\tRemounting target volume..."
        << "done\n"
        << "Restore completed successfully.\n";
    return out;
}

QByteArray wholeOutput() {
    QByteArray all;
    for (const QByteArray& p : pieces())
        all += p;
    return all;
}

struct Fed {
    QList<int> steps;
    QList<QPair<int, int>> tenths; // (tag, pass)
    QStringList labels;
    int answers = 0;
    QList<AsrReport> all;
};

Fed feedAll(AsrOutputParser& parser, const QList<QByteArray>& chunks) {
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

QList<QPair<int, int>> fullTenths() {
    QList<QPair<int, int>> t;
    for (int pass = 1; pass <= 2; ++pass) {
        for (int tag = 1; tag <= 10; ++tag)
            t << qMakePair(tag, pass);
    }
    return t;
}

} // namespace

void TestAsrOutput::piecesAsTheToolWritesThem() {
    AsrOutputParser parser;
    const Fed f = feedAll(parser, pieces());
    QCOMPARE(f.steps, (QList<int>{3, 4, 5}));
    QCOMPARE(f.tenths, fullTenths());
    QCOMPARE(f.answers, 1);
    QCOMPARE(parser.isTwoTime100(), 2);
    // Cloning while copying; the tool's own words before and after.
    QCOMPARE(f.labels.first(), QStringLiteral("Validating target..."));
    QVERIFY(f.labels.contains("Cloning..."));
    QVERIFY(!f.labels.contains("...."));
    QCOMPARE(f.labels.last(), QStringLiteral("Restore completed successfully.\n"));
    QVERIFY(parser.succeeded(0, true));

    // The older two-phase restore counts its passes the same way; both labels in one chunk
    // count once.
    AsrOutputParser older;
    QCOMPARE(feedAll(older, pieces({"Restoring  ", "Verifying  "})).tenths, fullTenths());
    AsrOutputParser both;
    feedAll(both, {kPrompt, "\tRestoring  \tVerifying  "});
    QCOMPARE(both.isTwoTime(), 1);
}

void TestAsrOutput::linesAndBlocks() {
    // One line per chunk: each pass line names "10" and "100", so it counts as its "20".
    QList<QByteArray> lines;
    for (const QByteArray& line : wholeOutput().split('\n'))
        lines << line + "\n";
    lines.last().chop(1);
    lines.removeAll(QByteArray());
    AsrOutputParser byLine;
    const Fed l = feedAll(byLine, lines);
    QCOMPARE(l.steps, (QList<int>{3, 4, 5}));
    QCOMPARE(l.tenths, (QList<QPair<int, int>>{{2, 1}, {2, 2}}));
    QVERIFY(byLine.succeeded(0, true));

    // Everything but the prompt held back to the end: the question with the validations in one
    // chunk, the whole copy in the next.
    AsrOutputParser blocks;
    const Fed b = feedAll(
        blocks, {kHead + kPrompt, "\n\tReplicating " + kDots + "\n\tReplicating " + kDots + "\n" + kTail});
    QCOMPARE(b.steps, (QList<int>{3, 5}));
    QCOMPARE(b.answers, 1);
    QCOMPARE(b.tenths, (QList<QPair<int, int>>{{2, 1}}));
    QCOMPARE(blocks.isTwoTime100(), 0);
    QVERIFY(blocks.inProgress());
    QVERIFY(blocks.succeeded(0, true));
}

void TestAsrOutput::splitPercentageAndMarkerOrder() {
    AsrOutputParser parser;
    const Fed f =
        feedAll(parser, {kPrompt, "\n\tReplicating ", "....10....2", "0....3", "0....40", "....50"});
    // A mark cut in two is lost; the others are read in the chunk they arrive in.
    QCOMPARE(f.tenths, (QList<QPair<int, int>>{{1, 1}, {4, 1}, {5, 1}}));

    // "10" is tested first, "100" last: 10 with 20 is a 1, 90 with 100 a 9.
    AsrOutputParser order;
    const Fed o = feedAll(order, {kPrompt, "\tReplicating ", "....10....20", "....90....100", "100"});
    QCOMPARE(o.tenths, (QList<QPair<int, int>>{{1, 1}, {9, 1}, {10, 1}}));
    QCOMPARE(order.isTwoTime100(), 1);
}

void TestAsrOutput::promptAloneOrWithText() {
    // Alone: answered, nothing else reported.
    AsrOutputParser alone;
    const Fed a = feedAll(alone, {kPrompt});
    QCOMPARE(a.all, (QList<AsrReport>{{Kind::AnswerPrompt, 0, 0, QString()}}));

    // After the validations in the same chunk: those still count (the target's only, as the
    // text is shortened), and the question is answered once.
    AsrOutputParser withText;
    const Fed w = feedAll(withText, {kHead + kPrompt});
    QCOMPARE(w.steps, QList<int>{3});
    QCOMPARE(w.answers, 1);
    QCOMPARE(w.all.last().kind, Kind::AnswerPrompt);

    // Cut inside the marker, it is still seen.
    AsrOutputParser cut;
    const QByteArray head = kPrompt.left(kPrompt.indexOf("[ny]") + 2);
    QCOMPARE(feedAll(cut, {head, kPrompt.mid(head.size())}).answers, 1);

    // The question resets the counts of an earlier run.
    AsrOutputParser again;
    feedAll(again, {kPrompt, "\tReplicating ", "100", "100"});
    QVERIFY(!again.inProgress());
    feedAll(again, {kPrompt});
    QCOMPARE(again.isTwoTime(), 0);
    QCOMPARE(again.isTwoTime100(), 0);
}

void TestAsrOutput::verdict_data() {
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<bool>("normalExit");
    QTest::addColumn<bool>("succeeded");
    const QByteArray pass = "\tReplicating " + kDots + "\n";
    QTest::newRow("closing line") << wholeOutput() << 0 << true << true;
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
    QTest::newRow("killed") << wholeOutput() << 15 << false << false;
    QTest::newRow("passes before the prompt only") << pass + pass + kPrompt << 0 << true << false;
    QTest::newRow("dots of a partial pass")
        << kPrompt + "\n\tReplicating ....10....100\n" + pass << 0 << true << false;
}

void TestAsrOutput::verdict() {
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
