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
        QTest::addColumn<double>("fraction");
        const qint64 total = 5'240'000'000;
        QTest::newRow("no rate before a second")
            << 100e6 << 0LL << 100e6 << 500LL << total << "50.00 MB of 5.24 GB" << 50e6 / 5.24e9;
        QTest::newRow("rate, no time left before 5 s")
            << 85.3e6 << 0LL << 85.3e6 << 4500LL << total << "383.85 MB of 5.24 GB · 85.3 MB/s"
            << 383.85e6 / 5.24e9;
        QTest::newRow("steady: about 47 s left")
            << 85.3e6 << 0LL << 85.3e6 << 14537LL << total
            << "1.24 GB of 5.24 GB · 85.3 MB/s · about 47 s left" << 1.24e9 / 5.24e9;
        // Twice as fast from 4 s on: the window's rate still climbs at 6 s.
        QTest::newRow("unsteady: no time left") << 50e6 << 4000LL << 100e6 << 6000LL << total
                                                << "400.00 MB of 5.24 GB · 66.7 MB/s" << 0.4e9 / 5.24e9;
        // The rate over the last ten seconds only: 20 MB/s long ago no longer counts.
        QTest::newRow("window of ten seconds")
            << 20e6 << 10000LL << 60e6 << 25000LL << total
            << "1.10 GB of 5.24 GB · 60.0 MB/s · about 1 min left" << 1.1e9 / 5.24e9;
        // A stall after a steady start: the rate falls and the time left goes.
        QTest::newRow("stalled") << 30e6 << 8000LL << 0.0 << 18500LL << total
                                 << "240.00 MB of 5.24 GB · 0 byte/s" << 0.24e9 / 5.24e9;
        QTest::newRow("total not known")
            << 2e6 << 0LL << 2e6 << 3000LL << qint64(-1) << "6.00 MB · 2.0 MB/s" << -1.0;
    }

    void lineOverTime() {
        QFETCH(double, rate1);
        QFETCH(qint64, switchMs);
        QFETCH(double, rate2);
        QFETCH(qint64, endMs);
        QFETCH(qint64, toDo);
        QFETCH(QString, line);
        QFETCH(double, fraction);
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
        if (fraction < 0)
            QVERIFY(!meter.fraction());
        else
            QVERIFY2(qAbs(*meter.fraction() - fraction) < 1e-3,
                     qPrintable(QString::number(*meter.fraction())));
    }

    void spokenTimes_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("under a second") << "left" << 0.4 << "about 1 s";
        QTest::newRow("seconds") << "left" << 47.0 << "about 47 s";
        QTest::newRow("just under a minute") << "left" << 59.4 << "about 59 s";
        QTest::newRow("a minute") << "left" << 59.6 << "about 1 min";
        QTest::newRow("a minute and a half, down") << "left" << 89.0 << "about 1 min";
        QTest::newRow("minutes") << "left" << 185.0 << "about 3 min";
        QTest::newRow("under an hour") << "left" << 3569.0 << "about 59 min";
        QTest::newRow("an hour") << "left" << 3600.0 << "about 1 h";
        QTest::newRow("hour and ten") << "left" << 4250.0 << "about 1 h 10 min";
        QTest::newRow("two hours") << "left" << 7190.0 << "about 2 h";
        QTest::newRow("elapsed seconds") << "elapsed" << 7.0 << "0:07";
        QTest::newRow("elapsed minutes") << "elapsed" << 754.0 << "12:34";
        QTest::newRow("elapsed hours") << "elapsed" << 3723.0 << "1:02:03";
        QTest::newRow("rate bytes") << "rate" << 999.0 << "999 byte/s";
        QTest::newRow("rate KB") << "rate" << 1500.0 << "1.5 KB/s";
        QTest::newRow("rate GB") << "rate" << 1.23e9 << "1.2 GB/s";
        // A clone pass at its second tenth after 90 s: eight tenths to go at the same pace.
        QTest::newRow("left from tenths") << "tenths" << 0.2 << "about 6 min";
    }

    void spokenTimes() {
        QFETCH(QString, kind);
        QFETCH(double, value);
        QFETCH(QString, text);
        if (kind == "left")
            QCOMPARE(TransferMeter::timeLeftText(value), text);
        else if (kind == "elapsed")
            QCOMPARE(TransferMeter::elapsedText(qint64(value)), text);
        else if (kind == "rate")
            QCOMPARE(TransferMeter::rateText(value), text);
        else
            QCOMPARE(TransferMeter::timeLeftText(TransferMeter::secondsLeftAt(90000, value)), text);
    }
};

TAVRILL_TEST(TestTransferMeter)

#include "tst_transfermeter.moc"
