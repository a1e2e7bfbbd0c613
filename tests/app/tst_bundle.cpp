#include "TestMain.h"
#include "core/PropertyList.h"

#include <QFile>
#include <QTest>
#include <QVersionNumber>
#include <QtEndian>

// The Mac bundle's Info.plist and icon as the build makes them: every key a Mac reads, the
// values CMake sets, and an icon in every size up to 1024 pixels.
class TestBundle : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void infoPlist() {
        const std::optional<QVariantMap> info =
            PropertyList::readDictionary(QStringLiteral(TAVRILL_INFO_PLIST));
        QVERIFY(info);
        const QVariantMap expected{
            {"CFBundleDevelopmentRegion", "en"},
            {"CFBundleDisplayName", "Tavrill"},
            {"CFBundleExecutable", "Tavrill"},
            {"CFBundleIconFile", "Tavrill.icns"},
            {"CFBundleIdentifier", "com.kelvaro.clone"},
            {"CFBundleInfoDictionaryVersion", "6.0"},
            {"CFBundleName", "Tavrill"},
            {"CFBundlePackageType", "APPL"},
            // What CMake was configured with: project(VERSION) and TAVRILL_MACOS_MINIMUM.
            {"CFBundleShortVersionString", TAVRILL_PROJECT_VERSION},
            {"CFBundleVersion", TAVRILL_PROJECT_VERSION},
            {"LSMinimumSystemVersion", TAVRILL_MACOS_MINIMUM},
            {"NSHighResolutionCapable", true},
            {"NSPrincipalClass", "NSApplication"},
        };
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            QVERIFY2(info->value(it.key()) == it.value(), qPrintable(it.key()));
        // The texts macOS shows before Tavrill first reads a protected place.
        for (const char* key : {"NSHumanReadableCopyright", "NSRemovableVolumesUsageDescription",
                                "NSNetworkVolumesUsageDescription", "NSDesktopFolderUsageDescription",
                                "NSDocumentsFolderUsageDescription", "NSDownloadsFolderUsageDescription"})
            QVERIFY2(info->value(QLatin1String(key)).toString().size() > 20, key);
        QVERIFY(info->value(QStringLiteral("NSHumanReadableCopyright"))
                    .toString()
                    .contains(QLatin1String("Kelvaro")));
        // No Qt 6 runs before macOS 11.
        QVERIFY(QVersionNumber::fromString(
                    info->value(QStringLiteral("LSMinimumSystemVersion")).toString()) >= QVersionNumber(11));
    }

    void iconSizes() {
        QFile file(QStringLiteral(TAVRILL_ICON));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray icns = file.readAll();
        QCOMPARE(icns.left(4), QByteArray("icns"));
        QCOMPARE(qFromBigEndian<quint32>(icns.constData() + 4), quint32(icns.size()));
        // Each element: its type, its length (header included), then the image: compressed image
        // data, or the packed pixels of the older types, whose size the type tells.
        const QMap<QByteArray, int> packed{{"is32", 16}, {"il32", 32}, {"ih32", 48}, {"it32", 128}};
        QList<int> sizes;
        for (qsizetype at = 8; at + 8 <= icns.size();) {
            const QByteArray type = icns.mid(at, 4);
            const quint32 length = qFromBigEndian<quint32>(icns.constData() + at + 4);
            QVERIFY(length >= 8 && at + length <= quint32(icns.size()));
            const QByteArray data = icns.mid(at + 8, length - 8);
            if (packed.contains(type)) {
                sizes << packed.value(type);
            } else if (type.startsWith("ic")) {
                // PNG (iconutil) keeps width and height after "IHDR", JPEG 2000 (png2icns) keeps
                // height and width after "ihdr".
                const bool png = data.startsWith("\x89PNG");
                const qsizetype header = data.indexOf(png ? "IHDR" : "ihdr");
                QVERIFY2(header > 0 && header + 12 <= data.size(), type.constData());
                const quint32 first = qFromBigEndian<quint32>(data.constData() + header + 4);
                const quint32 second = qFromBigEndian<quint32>(data.constData() + header + 8);
                QVERIFY2(first == second, type.constData());
                sizes << int(first);
            }
            at += length;
        }
        std::sort(sizes.begin(), sizes.end());
        QCOMPARE(sizes, (QList<int>{16, 32, 128, 256, 512, 1024}));
    }
};

TAVRILL_TEST(TestBundle)

#include "tst_bundle.moc"
