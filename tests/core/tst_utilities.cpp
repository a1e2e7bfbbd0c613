#include "TestMachine.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "core/PropertyList.h"
#include "core/QvPublicUtilities.h"
#include "core/Resources.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <clocale>
#include <cstring>

namespace {

// Switches the C library to German number formats (decimal comma) for as long as it lives. The
// locale is compiled into a folder of its own, so the machine need not have it generated.
class GermanNumbers {
public:
    GermanNumbers() {
        if (!m_dir.isValid())
            return;
        const QString target = m_dir.filePath("de_DE.UTF-8");
        QProcess::execute(QStringLiteral("localedef"),
                          {QStringLiteral("-i"), QStringLiteral("de_DE"), QStringLiteral("-f"),
                           QStringLiteral("UTF-8"), target});
        m_oldLocPath = qgetenv("LOCPATH");
        qputenv("LOCPATH", QFile::encodeName(m_dir.path()));
        m_active = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr &&
                   std::strcmp(std::localeconv()->decimal_point, ",") == 0;
    }
    ~GermanNumbers() {
        std::setlocale(LC_ALL, "C");
        if (m_oldLocPath.isNull())
            qunsetenv("LOCPATH");
        else
            qputenv("LOCPATH", m_oldLocPath);
    }
    bool active() const { return m_active; }

private:
    QTemporaryDir m_dir;
    QByteArray m_oldLocPath;
    bool m_active = false;
};

} // namespace

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

    void sizeFromText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<quint64>("bytes");
        QTest::newRow("GB") << "12.50 GB" << quint64(12500000000ULL);
        QTest::newRow("byte") << "512 byte" << quint64(0);
        QTest::newRow("KB") << "1.00 KB" << quint64(1000);
        QTest::newRow("MB") << "2.50 MB" << quint64(2500000);
        QTest::newRow("TB single precision") << "1.00 TB" << quint64(999999995904ULL);
        QTest::newRow("empty") << "" << quint64(0);
        QTest::newRow("unknown unit") << "3.00 PB" << quint64(0);
    }

    void sizeFromText() {
        QFETCH(QString, text);
        QFETCH(quint64, bytes);
        QCOMPARE(QvPublicUtilities::volSpaceFromString(text), bytes);
    }

    void moreThan2GB() {
        for (const qint64 bytes : {999999LL, 2048000000LL, 2048999999LL, -5LL})
            QVERIFY2(!QvPublicUtilities::isMoreThan2GB(bytes), qPrintable(QString::number(bytes)));
        QVERIFY(QvPublicUtilities::isMoreThan2GB(2049000000LL));
    }

    void parsingUnderACommaDecimalLocale() {
        GermanNumbers german;
        QVERIFY2(german.active(),
                 "de_DE.UTF-8 could not be made (localedef and the locales package are needed)");
        QCOMPARE(QvPublicUtilities::volSpaceFromString(QStringLiteral("12.50 GB")), 12500000000ULL);
        QCOMPARE(QvPublicUtilities::volSpaceFromString(QStringLiteral("1.25 KB")), 1250ULL);
        QCOMPARE(QvPublicUtilities::longlongConvertVolSpace(12500000000LL), QStringLiteral("12.50 GB"));

        // The clone result for the companion application: a message file that cannot be read as a
        // property list is left as it is, a missing one is not made, a readable one gets the result.
        QTemporaryDir resources;
        setResourceDirectory(resources.path());
        const QString companion =
            QStringLiteral("Tavrill Test Helper %1").arg(QCoreApplication::applicationPid());
        QVERIFY(PropertyList::writeDictionary(resources.filePath("PrivateData.plist"),
                                              {{"CompanionApp", companion}}));
        const QString app = QDir(QCoreApplication::applicationDirPath()).filePath(companion + ".app");
        const QString message = PublicObj::getLocalStr();
        QCOMPARE(message, app + "/Contents/Resources/LocalVersionMessage.plist");

        PublicObj::returnBootableIsSuccess(QStringLiteral("1"));
        QVERIFY(!QFile::exists(message));
        const QByteArray unreadable("<?xml version=\"1.0\"?><plist><dict><key>Ratio</key><real>0,5</real>");
        QVERIFY(writeHostFile(message, unreadable));
        PublicObj::returnBootableIsSuccess(QStringLiteral("1"));
        QCOMPARE(readHostFile(message), unreadable);

        QVERIFY(PropertyList::writeDictionary(message, {{"Version", "2.0"}, {"Ratio", 0.5}}));
        PublicObj::returnBootableIsSuccess(QStringLiteral("1"));
        const auto written = PropertyList::readDictionary(message);
        QVERIFY(written);
        QCOMPARE(*written, (QVariantMap{{"Version", "2.0"}, {"Ratio", 0.5}, {"BOOTRESULT", "1"}}));
        setResourceDirectory(QString());
        QDir(app).removeRecursively();
    }

    void versionFromSwVers_data() {
        QTest::addColumn<QByteArray>("tool");
        QTest::addColumn<int>("number");
        QTest::addColumn<QList<int>>("parts");
        QTest::newRow("10.15.7") << QByteArray("echo 10.15.7") << 1015 << QList<int>{10, 15, 7};
        QTest::newRow("10.9.5") << QByteArray("echo 10.9.5") << 1009 << QList<int>{10, 9, 5};
        QTest::newRow("11.7") << QByteArray("echo 11.7") << 1107 << QList<int>{11, 7, 0};
        QTest::newRow("tool fails") << QByteArray("exit 1") << 1000 << QList<int>{10, 0, 0};
        QTest::newRow("garbage") << QByteArray("echo ProductName: macOS") << 1000 << QList<int>{10, 0, 0};
        QTest::newRow("no tool") << QByteArray() << 1000 << QList<int>{10, 0, 0};
    }

    void versionFromSwVers() {
        QFETCH(QByteArray, tool);
        QFETCH(int, number);
        QFETCH(QList<int>, parts);
        TestMachine mac;
        if (!tool.isNull())
            mac.installTool("/usr/bin/sw_vers",
                            "echo >> \"$0.runs\"\n[ \"$1\" = -productVersion ] || exit 2\n" + tool);
        // A failure says so on the console once per query.
        if (number == 1000)
            for (int i = 0; i < 3; ++i)
                QTest::ignoreMessage(QtInfoMsg,
                                     QRegularExpression("^Unable to obtain system version: -?\\d+$"));
        QCOMPARE(QvPublicUtilities::getSystemVersion(), number);
        int a = -1, b = -1, c = -1;
        PublicObj::getSystemVersionMajor(&a, &b, &c);
        QCOMPARE((QList<int>{a, b, c}), parts);
        QvPublicUtilities::getSystemVersionMajor(nullptr, nullptr, nullptr); // null out-arguments are fine
        // sw_vers runs once per machine; a failed answer is asked for again.
        if (!tool.isNull())
            QCOMPARE(mac.readFile("/usr/bin/sw_vers.runs").count('\n'), number == 1000 ? 3 : 1);
    }

    void settingsAndLinksFromThePrivateData() {
        QTemporaryDir dir;
        setResourceDirectory(dir.path());
        const QString path = dir.filePath("PrivateData.plist");
        // No settings file: null answers, false, and a write creates nothing.
        QVERIFY(QvPublicUtilities::getInstallVersion().isNull());
        QVERIFY(!QvPublicUtilities::isBootable());
        QvPublicUtilities::writeUpDataTimeStr("now");
        QVERIFY(!QFile::exists(path));

        QVERIFY(PropertyList::writeDictionary(path, {{"INSTALL_VERSION", "2.1.0"}, {"isBootable", "YES"}}));
        QCOMPARE(QvPublicUtilities::getInstallVersion(), QStringLiteral("2.1.0"));
        QVERIFY(QvPublicUtilities::isBootable());
        QvPublicUtilities::writeUpDataTimeStr("2026-11-22 10:00");
        QCOMPARE(QvPublicUtilities::getUpDataTimeStr(), QStringLiteral("2026-11-22 10:00"));
        QCOMPARE(QvPublicUtilities::getInstallVersion(), QStringLiteral("2.1.0")); // other keys kept

        QVERIFY(PropertyList::writeDictionary(path, {{"isBootable", "yes"}}));
        QVERIFY(!QvPublicUtilities::isBootable());

        // Links: in the language asked for, else in English, else none.
        QVERIFY(PropertyList::writeDictionary(
            path, {{"en", QVariantMap{{"OnlineHelp", "https://en/help"}, {"Support", "https://en/s"}}},
                   {"de", QVariantMap{{"OnlineHelp", "https://de/hilfe"}, {"Support", ""}}}}));
        QCOMPARE(QvLinkUrl::GetUrlForLanguage("OnlineHelp", "de"), QStringLiteral("https://de/hilfe"));
        QCOMPARE(QvLinkUrl::GetUrlForLanguage("Support", "de"), QStringLiteral("https://en/s"));
        QCOMPARE(QvLinkUrl::GetUrlForLanguage("OnlineHelp", "fr"), QStringLiteral("https://en/help"));
        QVERIFY(QvLinkUrl::GetUrlForLanguage("SupportTeam", "de").isEmpty());
        QVERIFY(PropertyList::writeDictionary(path, {{"de", QVariantMap{{"Support", "https://de/s"}}}}));
        QCOMPARE(QvLinkUrl::GetUrlForLanguage("Support", "de"), QStringLiteral("https://de/s"));
        QVERIFY(QvLinkUrl::GetUrlForLanguage("Support", "fr").isEmpty());
        setResourceDirectory(QString());

        // The shipped file has what the menus and the update check need.
        const auto shipped = PropertyList::readDictionary(resourcePath("PrivateData", "plist"));
        QVERIFY(shipped);
        for (const char* key : {"INSTALL_VERSION", "VersionCheck", "isBootable"})
            QVERIFY2(shipped->contains(key), key);
        for (const char* link : {"OnlineHelp", "Support", "SupportTeam", "IniURL"})
            QVERIFY2(!shipped->value("en").toMap().value(link).toString().isEmpty(), link);
    }

    void diskInfoFoldersAndDates() {
        TestMachine mac;
        mac.installTool(
            "/usr/sbin/diskutil",
            "[ \"$1 $2 $3\" = \"info -plist disk4\" ] || exit 1\n"
            "printf '<plist "
            "version=\"1.0\"><dict><key>DeviceIdentifier</key><string>disk4</string></dict></plist>'");
        const auto info = QvPublicUtilities::QvGetDiskInfo("disk4");
        QVERIFY(info);
        QCOMPARE(info->value("DeviceIdentifier").toString(), QStringLiteral("disk4"));
        QVERIFY(QFile::exists(mac.host("/tmp/Fennick.plist")));
        QVERIFY(!QvPublicUtilities::QvGetDiskInfo("disk9"));
        QVERIFY(!QvPublicUtilities::QvGetDiskInfo(nullptr));
        QVERIFY(!QvPublicUtilities::QvGetDiskInfo(QByteArray(60, 'd').constData())); // over the 64-byte line

        QVERIFY(QvCheckFolderExist("/Volumes"));
        mac.writeFile("/Volumes/file", "x");
        QVERIFY(!QvCheckFolderExist("/Volumes/file"));
        QVERIFY(!QvCheckFolderExist("/Volumes/none"));
        QVERIFY(!QvCheckFolderExist(QString()));
        // A date written in the locale's long date and short time style reads back.
        const QLocale locale = QLocale::system();
        const QDateTime when(QDate(2024, 3, 2), QTime(9, 5));
        const QString text = locale.toString(when, locale.dateFormat(QLocale::LongFormat) + ' ' +
                                                       locale.timeFormat(QLocale::ShortFormat));
        QCOMPARE(QvPublicUtilities::convertDateFromString(text), when);
        QVERIFY(!QvPublicUtilities::convertDateFromString("not a date").isValid());
    }
};

TAVRILL_TEST(TestUtilities)

#include "tst_utilities.moc"
