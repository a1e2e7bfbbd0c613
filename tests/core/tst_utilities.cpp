#include "TestMachine.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "core/PropertyList.h"
#include "core/QvPublicUtilities.h"
#include "core/Resources.h"

#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <clocale>
#include <cstring>

class TestUtilities : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void sizeTexts_data() {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("upToTB");
        QTest::addColumn<QString>("upToGB");
        const auto row = [](qint64 bytes, const char* upToTB, const char* upToGB) {
            QTest::addRow("%lld", bytes)
                << bytes << QString::fromLatin1(upToTB) << QString::fromLatin1(upToGB);
        };
        row(0, "0 byte", "0 byte");
        row(999, "999 byte", "999 byte");
        row(1000, "1.00 KB", "1.00 KB");
        row(999999, "1000.00 KB", "1000.00 KB");
        row(1000000, "1.00 MB", "1.00 MB");
        row(999999999, "1000.00 MB", "1000.00 MB");
        row(1000000000, "1.00 GB", "1.00 GB");
        row(999999999999, "1000.00 GB", "1000.00 GB");
        row(1000000000000, "1.00 TB", "1000.00 GB");
        row(2000398934016, "2.00 TB", "2000.40 GB");
    }

    void sizeTexts() {
        QFETCH(qint64, bytes);
        QFETCH(QString, upToTB);
        QFETCH(QString, upToGB);
        QCOMPARE(QvPublicUtilities::longlongConvertVolSpace(bytes), upToTB);
        QCOMPARE(QvPublicUtilities::longlongDiskSize(bytes), upToTB);
        QCOMPARE(QvPublicUtilities::convertVolSpace(static_cast<quint64>(bytes)), upToGB);
    }

    void numbersUnderACommaDecimalLocale() {
        // The C library switched to German numbers (decimal comma); the locale is compiled into a
        // folder of its own, so the machine need not have it generated.
        QTemporaryDir locales;
        QProcess::execute("localedef", {"-i", "de_DE", "-f", "UTF-8", locales.filePath("de_DE.UTF-8")});
        qputenv("LOCPATH", QFile::encodeName(locales.path()));
        const auto restore = qScopeGuard([] {
            std::setlocale(LC_ALL, "C");
            qunsetenv("LOCPATH");
        });
        QVERIFY2(std::setlocale(LC_ALL, "de_DE.UTF-8") &&
                     std::strcmp(std::localeconv()->decimal_point, ",") == 0,
                 "de_DE.UTF-8 could not be made (localedef and the locales package are needed)");
        QCOMPARE(QvPublicUtilities::longlongConvertVolSpace(12500000000LL), QStringLiteral("12.50 GB"));
        // Reals in settings files are written and read with a point.
        const QString path = locales.filePath("x.plist");
        QVERIFY(PropertyList::writeDictionary(path, {{"Ratio", 0.5}}));
        QVERIFY(readHostFile(path).contains("<real>0.5"));
        QCOMPARE(PropertyList::readDictionary(path)->value("Ratio").toDouble(), 0.5);
    }

    void versionFromSwVers_data() {
        QTest::addColumn<QByteArray>("tool");
        QTest::addColumn<int>("number");
        QTest::newRow("10.15.7") << QByteArray("echo 10.15.7") << 1015;
        QTest::newRow("10.9.5") << QByteArray("echo 10.9.5") << 1009;
        QTest::newRow("11.7") << QByteArray("echo 11.7") << 1107;
        QTest::newRow("tool fails") << QByteArray("exit 1") << 1000;
        QTest::newRow("garbage") << QByteArray("echo ProductName: macOS") << 1000;
        QTest::newRow("no tool") << QByteArray() << 1000;
    }

    void versionFromSwVers() {
        QFETCH(QByteArray, tool);
        QFETCH(int, number);
        TestMachine mac;
        if (!tool.isNull())
            mac.installTool("/usr/bin/sw_vers",
                            "echo >> \"$0.runs\"\n[ \"$1\" = -productVersion ] || exit 2\n" + tool);
        // A failure says so on the console once per query.
        if (number == 1000)
            for (int i = 0; i < 3; ++i)
                QTest::ignoreMessage(QtInfoMsg,
                                     QRegularExpression("^Unable to obtain system version: -?\\d+$"));
        for (int i = 0; i < 3; ++i)
            QCOMPARE(QvPublicUtilities::getSystemVersion(), number);
        // sw_vers runs once per machine; a failed answer is asked for again.
        if (!tool.isNull())
            QCOMPARE(mac.readFile("/usr/bin/sw_vers.runs").count('\n'), number == 1000 ? 3 : 1);
    }

    void settingsAndLinksFromThePrivateData() {
        QTemporaryDir dir;
        setResourceDirectory(dir.path());
        const QString path = dir.filePath("PrivateData.plist");
        QVERIFY(QvPublicUtilities::getInstallVersion().isNull()); // no settings file
        QVERIFY(PropertyList::writeDictionary(path, {{"INSTALL_VERSION", "2.1.0"}}));
        QCOMPARE(QvPublicUtilities::getInstallVersion(), QStringLiteral("2.1.0"));

        // Links: in the language asked for, else in English, else none.
        QVERIFY(PropertyList::writeDictionary(
            path, {{"en", QVariantMap{{"OnlineHelp", "https://en/help"}, {"Support", "https://en/s"}}},
                   {"de", QVariantMap{{"OnlineHelp", "https://de/hilfe"}, {"Support", ""}}}}));
        QCOMPARE(QvLinkUrl::GetUrlForLanguage("OnlineHelp", "de"), QStringLiteral("https://de/hilfe"));
        QCOMPARE(QvLinkUrl::GetUrlForLanguage("Support", "de"), QStringLiteral("https://en/s"));
        QCOMPARE(QvLinkUrl::GetUrlForLanguage("OnlineHelp", "fr"), QStringLiteral("https://en/help"));
        QVERIFY(QvLinkUrl::GetUrlForLanguage("SupportTeam", "de").isEmpty());
        QVERIFY(PropertyList::writeDictionary(path, {{"de", QVariantMap{{"Support", "https://de/s"}}}}));
        QVERIFY(QvLinkUrl::GetUrlForLanguage("Support", "fr").isEmpty());
        setResourceDirectory(QString());
    }
};

TAVRILL_TEST(TestUtilities)

#include "tst_utilities.moc"
