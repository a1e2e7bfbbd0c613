#include "TestMain.h"
#include "TreeCompare.h"
#include "core/PropertyList.h"

#include <QDateTime>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <plist/plist.h>

namespace {
// The document type line as an escaped literal: moc misreads its "//" inside a raw string.
const QByteArray kInfo =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
    "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    R"(<plist version="1.0">
<dict>
	<key>APFSContainerFree</key> <integer>382918590464</integer>
	<key>Ejectable</key> <false/>
	<key>FreeSpace</key> <integer>0</integer>
	<key>MountPoint</key> <string>/</string>
	<key>Offset</key> <integer>-1</integer>
	<key>Stamp</key> <date>2024-03-02T09:05:03Z</date>
	<key>Blob</key> <data>AAEC</data>
	<key>Ratio</key> <real>0.5</real>
	<key>Partitions</key>
	<array><dict><key>VolumeName</key><string>Macintosh HD — Data</string></dict></array>
	<key>Empty</key> <array/>
</dict>
</plist>
)";
} // namespace

class TestPropertyList : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void readsToolShapedXmlWithTypesAndRefusesTheRest() {
        const auto dict = PropertyList::dictionaryFromBytes(kInfo);
        QVERIFY(dict);
        QCOMPARE(dict->value("APFSContainerFree").typeId(), QMetaType::LongLong);
        QCOMPARE(dict->value("APFSContainerFree").toLongLong(), 382918590464LL);
        QCOMPARE(dict->value("Offset").toLongLong(), -1LL);
        QCOMPARE(dict->value("Ejectable").typeId(), QMetaType::Bool);
        QCOMPARE(dict->value("Ejectable").toBool(), false);
        QCOMPARE(dict->value("MountPoint").toString(), QStringLiteral("/"));
        QCOMPARE(dict->value("Blob").toByteArray(), QByteArray("\x00\x01\x02", 3));
        QCOMPARE(dict->value("Ratio").toDouble(), 0.5);
        QCOMPARE(dict->value("Stamp").toDateTime(),
                 QDateTime(QDate(2024, 3, 2), QTime(9, 5, 3), QTimeZone::utc()));
        QCOMPARE(dict->value("Partitions").toList(),
                 (QVariantList{QVariantMap{{"VolumeName", QString::fromUtf8("Macintosh HD — Data")}}}));
        QCOMPARE(dict->value("Empty").typeId(), QMetaType::QVariantList);
        // Chatter a driver prints before the header is skipped.
        QCOMPARE(PropertyList::dictionaryFromBytes("SATSMARTDriver: probing disk2\n" + kInfo)
                     .value_or(QVariantMap()),
                 *dict);

        // What is not a dictionary is refused.
        for (const QByteArray& bytes :
             {QByteArray(), QByteArray("Could not find disk: disk9\n"), kInfo.left(kInfo.size() / 2),
              QByteArray(
                  "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>x</string></array></plist>"),
              QByteArray("bplist00\x01\x02\x03", 11)})
            QVERIFY2(!PropertyList::dictionaryFromBytes(bytes), bytes.constData());
    }

    void roundTripsXmlAndBinary() {
        const QVariantMap in{{"Size", qint64(16005464064)},
                             {"Negative", qint64(-5)},
                             {"Name", QString::fromUtf8("STICK \"$x\" — é")},
                             {"Flag", true},
                             {"List", QVariantList{qint64(1), QStringLiteral("two")}},
                             {"When", QDateTime(QDate(2020, 1, 31), QTime(23, 59, 58), QTimeZone::utc())}};
        const QByteArray xml = PropertyList::toXml(in);
        QCOMPARE(PropertyList::dictionaryFromBytes(xml).value_or(QVariantMap()), in);

        // The same dictionary in binary form, as some system files are stored.
        plist_t root = nullptr;
        plist_from_xml(xml.constData(), static_cast<uint32_t>(xml.size()), &root);
        QVERIFY(root);
        char* bin = nullptr;
        uint32_t len = 0;
        plist_to_bin(root, &bin, &len);
        const QByteArray binary(bin, static_cast<qsizetype>(len));
        plist_to_bin_free(bin);
        plist_free(root);
        QVERIFY(binary.startsWith("bplist00"));
        QCOMPARE(PropertyList::dictionaryFromBytes(binary).value_or(QVariantMap()), in);
    }

    void writesAtomicallyAndInByteOrder() {
        QTemporaryDir dir;
        const QString path = dir.filePath("PrivateData.plist");
        QVERIFY(!PropertyList::readDictionary(path));
        QVariantMap settings{{"upDataTimeStr", "x"}, {"INSTALL_VERSION", "1.0"}, {"Zeta", 1}, {"alpha", 2}};
        QVERIFY(PropertyList::writeDictionary(path, settings));
        const QByteArray text = readHostFile(path);
        QVERIFY(text.indexOf("INSTALL_VERSION") < text.indexOf("Zeta") &&
                text.indexOf("Zeta") < text.indexOf("alpha") &&
                text.indexOf("alpha") < text.indexOf("upDataTimeStr"));
        QVERIFY(text.contains("\t<key>"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"PrivateData.plist"});
        QCOMPARE(PropertyList::readDictionary(path)->value("INSTALL_VERSION").toString(),
                 QStringLiteral("1.0"));
        QVERIFY(!PropertyList::writeDictionary(dir.filePath("missing/folder/x.plist"), settings));
    }
};

TAVRILL_TEST(TestPropertyList)

#include "tst_propertylist.moc"
