#include "TestMain.h"
#include "core/PropertyList.h"
#include "core/ServiceAddress.h"
#include "update/UpdateInfo.h"

#include <QTest>

namespace {

QByteArray plist(const QVariantMap& map) {
    return PropertyList::toXml(map);
}

} // namespace

class TestUpdateInfo : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void readsVersionAndLinesInNumberOrder() {
        // Lines come by number whatever their order in the file; a missing number leaves an empty
        // line, and the count is the number of entries besides the version keys.
        const auto info = UpdateInfoReader::read(plist(
            {{"VersionCheck", 120}, {"Version", "1.2.0"}, {"3", "Third"}, {"1", "First"}, {"2", "Second"}}));
        QVERIFY(info);
        QCOMPARE(info->versionCheck, 120);
        QCOMPARE(info->version, QStringLiteral("1.2.0"));
        QCOMPARE(info->lines, (QStringList{"First", "Second", "Third"}));

        const auto gap =
            UpdateInfoReader::read(plist({{"VersionCheck", 2}, {"1", "a"}, {"3", "c"}, {"7", 7}}));
        QCOMPARE(gap->lines, (QStringList{"a", QString(), "c"}));
        const auto containers = UpdateInfoReader::read(plist({{"1", QVariantList{"x"}}, {"2", 42}}));
        QCOMPARE(containers->lines, (QStringList{QString(), "42"}));

        QVERIFY(isNewerVersion(info, 119));
        QVERIFY(!isNewerVersion(info, 120));
        QVERIFY(!isNewerVersion(std::nullopt, 0)); // nothing fetched reads as build 0
    }

    void buildNumbersOnlyFromWholeNumbers() {
        // Integers, or strings that hold one; text, reals and numbers beyond 64 bits are no build.
        QCOMPARE(UpdateInfoReader::buildNumber(QVariant(QStringLiteral(" 101 "))), 101);
        for (const QVariant& value :
             {QVariant("1.0.2"), QVariant("99999999999999999999999"), QVariant(1e300)})
            QCOMPARE(UpdateInfoReader::buildNumber(value), 0);

        // Through the file: the largest integer a property list holds is a newer build; text,
        // negative and oversized numbers never are.
        const auto huge = UpdateInfoReader::read(
            "<plist><dict><key>VersionCheck</key><integer>9223372036854775807</integer></dict></plist>");
        QVERIFY(huge && isNewerVersion(huge, 100));
        for (const char* value : {"<string>soon</string>", "<integer>-3</integer>", "<real>1e300</real>",
                                  "<string>18446744073709551617</string>"}) {
            const QByteArray file =
                QByteArray("<plist><dict><key>VersionCheck</key>") + value + "</dict></plist>";
            const auto info = UpdateInfoReader::read(file);
            QVERIFY2(info && !isNewerVersion(info, 100), value);
        }
        QVERIFY(localBuildNumber() > 0); // the shipped settings carry this copy's build number
    }

    void unusableFilesAndBounds() {
        for (const QByteArray& bytes :
             {QByteArray(), QByteArray("<html><body>Not here</body></html>"),
              QByteArray("<plist><dict><key>VersionCheck</key>"), PropertyList::toXml(QVariantList{1, 2}),
              QByteArray("bplist00\xff\xff", 10)})
            QVERIFY2(!UpdateInfoReader::read(bytes), bytes.constData());

        // A file over the size limit is not even parsed, however well formed.
        QByteArray big =
            plist({{"VersionCheck", 500}, {"1", QString(UpdateInfoReader::kMaxFileBytes, QLatin1Char('x'))}});
        QVERIFY(!UpdateInfoReader::read(big));

        // Nesting that a recursive reader could not survive.
        QByteArray deep = "<plist><dict><key>1</key>";
        for (int i = 0; i < 100000; ++i)
            deep += "<array>";
        QVERIFY(deep.size() < UpdateInfoReader::kMaxFileBytes);
        UpdateInfoReader::read(deep);

        // Many and long lines are cut to what the list shows.
        QVariantMap many{{"VersionCheck", 500}, {"Version", QString(500, QLatin1Char('9'))}};
        for (int i = 1; i <= 5000; ++i)
            many.insert(QString::number(i), QStringLiteral("line %1 ").arg(i).repeated(i == 1 ? 2000 : 1));
        const auto info = UpdateInfoReader::read(plist(many));
        QVERIFY(info);
        QCOMPARE(info->lines.size(), UpdateInfoReader::kMaxLines);
        QCOMPARE(info->lines.first().size(), UpdateInfoReader::kMaxLineChars);
        QVERIFY(info->lines.first().endsWith(QChar(0x2026)));
        QCOMPARE(info->lines.last(), QStringLiteral("line %1 ").arg(UpdateInfoReader::kMaxLines));
        QCOMPARE(info->version.size(), UpdateInfoReader::kMaxVersionChars);
    }

    void testOriginOnlyReplacesLoopbackOrigins() {
        const QString address = QStringLiteral("https://www.kelvaro.com/update/tavrill/version.plist?x=1");
        qputenv("TAVRILL_SERVICE_ORIGIN", "http://127.0.0.1:4711");
        QCOMPARE(serviceAddress(address),
                 QStringLiteral("http://127.0.0.1:4711/update/tavrill/version.plist?x=1"));
        QCOMPARE(serviceAddress(QStringLiteral("http://www.example.com/")),
                 QStringLiteral("http://127.0.0.1:4711/"));
        for (const char* elsewhere :
             {"http://10.0.0.7:80", "https://127.0.0.1:4711", "http://evil.example:80",
              "http://127.0.0.1:4711/path", "127.0.0.1:4711"}) {
            qputenv("TAVRILL_SERVICE_ORIGIN", elsewhere);
            QCOMPARE(serviceAddress(address), address);
        }
        qunsetenv("TAVRILL_SERVICE_ORIGIN");
    }
};

TAVRILL_TEST(TestUpdateInfo)

#include "tst_updateinfo.moc"
