#include "TestMachine.h"
#include "TestMain.h"
#include "core/QvLog.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QThreadPool>

class TestLog : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void createsReopensAndAppendsInTheLineFormat() {
        TestMachine mac;
        QvUninitLog();
        QCOMPARE(QvLog("diskutil info %s error", "disk4s1"), 0);
        const QByteArray text = mac.readFile("/tmp/Pellory.txt");
        static const QRegularExpression line(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d  diskutil info disk4s1 error\\n$");
        QVERIFY2(line.match(QString::fromUtf8(text)).hasMatch(), text.constData());
        QCOMPARE(QvLog(nullptr), -1);

        // Opened twice and closed twice, it reopens and appends.
        QvUninitLog();
        QFile::remove(mac.host("/tmp/Pellory.txt"));
        QCOMPARE(QvInitLog(), 0);
        QCOMPARE(QvInitLog(), 0);
        QvLog("one");
        QCOMPARE(QvUninitLog(), 0);
        QCOMPARE(QvUninitLog(), 0);
        QvLog("two");
        QvUninitLog();
        const QList<QByteArray> lines = mac.readFile("/tmp/Pellory.txt").split('\n');
        QCOMPARE(lines.size(), 3);
        QVERIFY(lines[0].endsWith("  one"));
        QVERIFY(lines[1].endsWith("  two"));

        // A folder that cannot be written: every call fails quietly.
        TestMachine broken;
        QFile::remove(broken.host("/tmp"));
        QDir(broken.host("/tmp")).removeRecursively();
        QCOMPARE(QvInitLog(), -1);
        QCOMPARE(QvLog("lost"), -1);
    }

    void writesLongMessagesWholeAndLinesWhole() {
        TestMachine mac;
        QvUninitLog();
        const QByteArray big(10 * 1024, 'x');
        QvLog("%s", big.constData());
        // Lines from several threads never interleave.
        for (int t = 0; t < 4; ++t)
            QThreadPool::globalInstance()->start([t] {
                for (int i = 0; i < 200; ++i)
                    QvLog("thread %d line %d %s", t, i, "0123456789abcdefghijklmnopqrstuvwxyz");
            });
        QThreadPool::globalInstance()->waitForDone();
        QvUninitLog();
        const QList<QByteArray> lines = mac.readFile("/tmp/Pellory.txt").split('\n');
        QCOMPARE(lines.size(), 1 + 800 + 1);
        QVERIFY(lines[0].endsWith("  " + big));
        static const QRegularExpression shape(
            "^\\S+ \\S+  thread \\d line \\d+ 0123456789abcdefghijklmnopqrstuvwxyz$");
        for (int i = 1; i <= 800; ++i)
            QVERIFY2(shape.match(QString::fromLatin1(lines[i])).hasMatch(), lines[i].constData());
    }
};

TAVRILL_TEST(TestLog)

#include "tst_log.moc"
