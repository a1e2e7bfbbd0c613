#include "TestMain.h"
#include "core/TransferMeter.h"

#include <QTest>

class TestTransferMeter : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void lineOverTime_data() {
        // A job read every half second: rate1 bytes a second up to switchMs, rate2 after it, the
        // line read at endMs.
        QTest::addColumn<double>("rate1");
        QTest::addColumn<qint64>("switchMs");
        QTest::addColumn<double>("rate2");
        QTest::addColumn<qint64>("endMs");
        QTest::addColumn<qint64>("toDo");
        QTest::addColumn<QString>("line");
        const qint64 total = 5'240'000'000;
        QTest::newRow("no rate before a second")
            << 100e6 << 0LL << 100e6 << 500LL << total << "50.00 MB of 5.24 GB";
        QTest::newRow("rate, no time left before 5 s")
            << 85.3e6 << 0LL << 85.3e6 << 4500LL << total << "383.85 MB of 5.24 GB · 85.3 MB/s";
        QTest::newRow("steady: about 47 s left") << 85.3e6 << 0LL << 85.3e6 << 14537LL << total
                                                 << "1.24 GB of 5.24 GB · 85.3 MB/s · about 47 s left";
        // Twice as fast from 4 s on: the window's rate still climbs at 6 s.
        QTest::newRow("unsteady: no time left")
            << 50e6 << 4000LL << 100e6 << 6000LL << total << "400.00 MB of 5.24 GB · 66.7 MB/s";
        // The rate over the last ten seconds only: 20 MB/s long ago no longer counts.
        QTest::newRow("window of ten seconds") << 20e6 << 10000LL << 60e6 << 25000LL << total
                                               << "1.10 GB of 5.24 GB · 60.0 MB/s · about 1 min left";
        // A stall after a steady start: the rate falls and the time left goes.
        QTest::newRow("stalled") << 30e6 << 8000LL << 0.0 << 18500LL << total
                                 << "240.00 MB of 5.24 GB · 0 byte/s";
        QTest::newRow("total not known") << 2e6 << 0LL << 2e6 << 3000LL << qint64(-1) << "6.00 MB · 2.0 MB/s";
    }

    void lineOverTime() {
        QFETCH(double, rate1);
        QFETCH(qint64, switchMs);
        QFETCH(double, rate2);
        QFETCH(qint64, endMs);
        QFETCH(qint64, toDo);
        QFETCH(QString, line);
        const auto bytesAt = [&](qint64 ms) {
            const qint64 first = std::min(ms, switchMs);
            return qint64(rate1 * double(first) / 1000 + rate2 * double(ms - first) / 1000);
        };
        TransferMeter meter;
        meter.start(1000, toDo);
        for (qint64 ms = 500; ms < endMs; ms += 500)
            meter.update(1000 + ms, bytesAt(ms));
        meter.update(1000 + endMs, bytesAt(endMs));
        QCOMPARE(meter.line(), line);
        // The part done only of a known total (its value: the bar in tst_diskcopyworkflow).
        QCOMPARE(meter.fraction().has_value(), toDo >= 0);
    }

    void spokenTimes() {
        const std::pair<double, const char*> left[] = {
            {0.4, "about 1 s"},         {47, "about 47 s"},   {59.4, "about 59 s"},   {59.6, "about 1 min"},
            {89, "about 1 min"},        {185, "about 3 min"}, {3569, "about 59 min"}, {3600, "about 1 h"},
            {4250, "about 1 h 10 min"}, {7190, "about 2 h"}};
        for (const auto& [seconds, text] : left)
            QCOMPARE(TransferMeter::timeLeftText(seconds), QString::fromUtf8(text));
        for (const auto& [seconds, text] : {std::pair{7, "0:07"}, {754, "12:34"}, {3723, "1:02:03"}})
            QCOMPARE(TransferMeter::elapsedText(seconds), QString::fromUtf8(text));
        for (const auto& [rate, text] :
             {std::pair{999.0, "999 byte/s"}, {1500.0, "1.5 KB/s"}, {1.23e9, "1.2 GB/s"}})
            QCOMPARE(TransferMeter::rateText(rate), QString::fromUtf8(text));
        // A clone pass at its second tenth after 90 s: eight tenths to go at the same pace.
        QCOMPARE(TransferMeter::timeLeftText(TransferMeter::secondsLeftAt(90000, 0.2)),
                 QStringLiteral("about 6 min"));
    }
};

TAVRILL_TEST(TestTransferMeter)

#include "tst_transfermeter.moc"
