#include "tst_volumes.h"

#include "Pointer.h"
#include "ui/ElidedLabel.h"
#include "ui/ImageView.h"
#include "volumes/DiskListViewController.h"
#include "volumes/DiskUsageBarView.h"

#include <QLabel>
#include <QTest>

namespace {

VolumeObjRef record(const QString& name, bool ejectable, const QString& mountPoint, std::int64_t total,
                    std::int64_t free, const QString& type = QStringLiteral("APFS")) {
    auto v = VolumeObjRef::create();
    v->setVolumeName(name);
    v->setBCanEject(ejectable);
    v->setVolumeMountPoint(mountPoint);
    v->setVolumePath(mountPoint);
    v->setVolumeTotalSizeNum(total);
    v->setVolumeFreeSizeNum(free);
    v->setVolumeType(type);
    return v;
}

struct PickRecorder : DiskListVCDelegate {
    VolumeObjList picked;
    void doSelectDiskWithVolume(const VolumeObjRef& volume) override { picked << volume; }
};

} // namespace

void TestDiskList::iconFollowsEjectableThenSystemMount_data() {
    QTest::addColumn<bool>("ejectable");
    QTest::addColumn<QString>("mountPoint");
    QTest::addColumn<QString>("icon");
    const auto row = [](const char* tag, bool ejectable, const char* mountPoint, const char* icon) {
        QTest::newRow(tag) << ejectable << QString::fromLatin1(mountPoint) << QString::fromLatin1(icon);
    };
    row("usb stick", true, "/Volumes/STICK", "ic_usb");
    row("usb stick holding the system", true, "/", "ic_usb");
    row("internal system volume", false, "/", "ic_os");
    row("internal data volume", false, "/Volumes/Data", "ic_disk");
    row("path merely starting with /", false, "/Volumes", "ic_disk");
}

void TestDiskList::iconFollowsEjectableThenSystemMount() {
    QFETCH(bool, ejectable);
    QFETCH(QString, mountPoint);
    QFETCH(QString, icon);
    DiskListViewController row;
    row.setVolumeObj(record(QStringLiteral("V"), ejectable, mountPoint, 1000, 500));
    row.refreshaView();
    QCOMPARE(row.diskIconImageView()->imageName(), icon);
    // Under the pointer the same rule picks the selected form.
    hover(row.aView(), true);
    QCOMPARE(row.diskIconImageView()->imageName(), icon + QStringLiteral("_sel"));
    hover(row.aView(), false);
    QCOMPARE(row.diskIconImageView()->imageName(), icon);
}

void TestDiskList::usageBar_data() {
    QTest::addColumn<qint64>("total");
    QTest::addColumn<qint64>("free");
    QTest::addColumn<double>("shown");
    QTest::newRow("full") << qint64(500'000'000'000) << qint64(0) << 100.0;
    QTest::newRow("empty") << qint64(500'000'000'000) << qint64(500'000'000'000) << 0.0;
    // Free per cent is truncated: 37.9 % free counts as 37, so 63 is shown.
    QTest::newRow("truncated") << qint64(1000) << qint64(379) << 63.0;
    QTest::newRow("free above total") << qint64(1000) << qint64(2000) << 100.0;
    QTest::newRow("total of zero") << qint64(0) << qint64(0) << 0.0;
    QTest::newRow("free not known") << qint64(1000) << qint64(-1) << 100.0;
    QTest::newRow("huge drive") << qint64(4'000'000'000'000'000) << qint64(1'000'000'000'000'000) << 75.0;
}

void TestDiskList::usageBar() {
    QFETCH(qint64, total);
    QFETCH(qint64, free);
    QFETCH(double, shown);
    DiskListViewController row;
    row.setVolumeObj(record(QStringLiteral("V"), false, QStringLiteral("/Volumes/V"), total, free));
    row.refreshaView();
    QVERIFY(row.usageBar());
    QCOMPARE(row.usageBar()->value(), shown);
    // The bar sits under the name, 240 x 4 points.
    QCOMPARE(row.usageBar()->geometry(), QRect(76, 30, 240, 4));
}

void TestDiskList::labelsHoverAndClick() {
    PickRecorder recorder;
    DiskListViewController row;
    const VolumeObjRef v =
        record(QStringLiteral("Macintosh HD"), false, QStringLiteral("/"), 500'280'000'000, 318'280'000'000);
    v->setVolumeTotalSize(QStringLiteral("500.28 GB"));
    row.setVolumeObj(v);
    row.refreshaView();
    row.show();
    QCOMPARE(row.nameLabel()->text(), QStringLiteral("Macintosh HD"));
    QCOMPARE(row.nameLabel()->toolTip(), QStringLiteral("Macintosh HD"));
    QCOMPARE(row.sizeLabel()->text(), QStringLiteral("182.00 GB/500.28 GB"));
    QCOMPARE(row.diskInfoLabel()->text(), QStringLiteral("APFS"));
    // Refreshing again adds no second bar.
    row.refreshaView();
    QCOMPARE(row.findChildren<DiskUsageBarView*>().size(), 1);

    // A click without a delegate does nothing.
    QTest::mouseClick(row.aView(), Qt::LeftButton, {}, QPoint(100, 30));
    row.setDiskListVCDelegate(&recorder);
    QTest::mouseClick(row.aView(), Qt::LeftButton, {}, QPoint(300, 50)); // anywhere on the row
    QTest::mouseClick(row.aView(), Qt::RightButton, {}, QPoint(300, 50));
    QCOMPARE(recorder.picked.size(), 1);
    QCOMPARE(recorder.picked.first(), v);

    // The hover plate: rounded, 67/67/67, drawn only under the pointer.
    hover(row.aView(), true);
    QVERIFY(row.aView()->mouseIn());
    const QImage lit = row.aView()->grab().toImage();
    QCOMPARE(lit.pixelColor(lit.width() / 2, 2), QColor(67, 67, 67));
    hover(row.aView(), false);
    QVERIFY(!row.aView()->mouseIn());
    const QImage dark = row.aView()->grab().toImage();
    QVERIFY(dark.pixelColor(dark.width() / 2, 2) != QColor(67, 67, 67));
}
