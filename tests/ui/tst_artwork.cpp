#include "tst_artwork.h"

#include "Screenshot.h"
#include "UiTestKit.h"
#include "ui/Artwork.h"
#include "ui/KitStyle.h"

#include <QImage>
#include <QPainter>
#include <QTest>

void TestArtwork::everyNamedPictureExistsAndDraws() {
    QStringList missing;
    QStringList blank;
    for (const QString& name : UiTestKit::artworkNames()) {
        if (!Artwork::exists(name) || Artwork::naturalSize(name).isEmpty()) {
            missing << name;
            continue;
        }
        const QSize natural = Artwork::naturalSize(name);
        const QPixmap pixmap = Artwork::pixmap(name, natural, 2.0);
        QCOMPARE(pixmap.size(), natural * 2);
        // Something is drawn, and it is not a filled rectangle of the whole box either
        // (a picture always leaves some of its box free), except the banner and the highlight.
        const int opaque = UiTestKit::opaquePixels(pixmap.toImage());
        const int all = pixmap.width() * pixmap.height();
        if (opaque == 0 || (opaque == all && name != QLatin1String("top") && name != QLatin1String("tab_on")))
            blank << name;
    }
    QVERIFY2(missing.isEmpty(), qPrintable(QStringLiteral("missing: ") + missing.join(QLatin1Char(' '))));
    QVERIFY2(blank.isEmpty(), qPrintable(QStringLiteral("blank: ") + blank.join(QLatin1Char(' '))));
    QVERIFY(!Artwork::exists(QStringLiteral("no_such_picture")));
    QVERIFY(!Artwork::exists(QString()));
}

void TestArtwork::selectedFormsDifferFromTheNormalOnes() {
    for (const QString& name : UiTestKit::artworkNames()) {
        if (!name.endsWith(QLatin1String("_sel")) || name.startsWith(QLatin1String("checkbox")))
            continue;
        const QString normal = name.chopped(4);
        const QSize size(48, 48);
        QVERIFY2(Artwork::pixmap(name, size).toImage() != Artwork::pixmap(normal, size).toImage(),
                 qPrintable(name));
    }
    for (int n = 1; n <= 3; ++n)
        for (int m = n + 1; m <= 3; ++m)
            QVERIFY(Artwork::pixmap(QStringLiteral("step%1").arg(n), QSize(300, 28)).toImage() !=
                    Artwork::pixmap(QStringLiteral("step%1").arg(m), QSize(300, 28)).toImage());
}

void TestArtwork::contactSheet() {
    // The banner across the top at its own size, then every other picture at its own size (or
    // fitted into its cell) with its name under it, all at 2x on the window colour.
    QStringList names = UiTestKit::artworkNames();
    names.removeAll(QStringLiteral("top"));
    const int columns = 6;
    const QSize cell(230, 130);
    const int bannerHeight = Artwork::naturalSize(QStringLiteral("top")).height() + 20;
    const int rows = (int(names.size()) + columns - 1) / columns;
    QImage sheet(QSize(columns * cell.width(), bannerHeight + rows * cell.height()) * 2,
                 QImage::Format_ARGB32);
    sheet.setDevicePixelRatio(2.0);
    sheet.fill(KitStyle::windowBackground());
    QPainter painter(&sheet);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(KitStyle::font(9));
    Artwork::paint(painter, QStringLiteral("top"),
                   QRectF(QPointF(10, 10), Artwork::naturalSize(QStringLiteral("top"))));
    for (int i = 0; i < names.size(); ++i) {
        const QRect box(QPoint((i % columns) * cell.width(), bannerHeight + (i / columns) * cell.height()),
                        cell);
        QSize natural = Artwork::naturalSize(names[i]);
        if (natural.width() > cell.width() - 16 || natural.height() > cell.height() - 30)
            natural.scale(cell.width() - 16, cell.height() - 30, Qt::KeepAspectRatio);
        const QRect art(box.x() + (cell.width() - natural.width()) / 2, box.y() + 8, natural.width(),
                        natural.height());
        Artwork::paint(painter, names[i], art);
        painter.setPen(KitStyle::textSecondary());
        painter.drawText(QRect(box.x(), art.bottom() + 6, cell.width(), 16), Qt::AlignCenter, names[i]);
    }
    painter.end();
    const QString path = screenshotFolder(QStringLiteral("ui")) + QStringLiteral("/artwork.png");
    QVERIFY(sheet.save(path));

    // The banner with a tab bar under it, the first tab chosen, as the window puts them.
    const QSize banner = Artwork::naturalSize(QStringLiteral("top"));
    QImage window(QSize(banner.width(), banner.height() + 4 * 52 + 20) * 2, QImage::Format_ARGB32);
    window.setDevicePixelRatio(2.0);
    window.fill(KitStyle::windowBackground());
    QPainter p(&window);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(QRect(0, banner.height(), 200, 4 * 52 + 20), KitStyle::sidebarBackground());
    Artwork::paint(p, QStringLiteral("top"), QRectF(QPointF(0, 0), banner));
    const char* tabs[4][2] = {{"Disk Copy", "ic_disk_icon"},
                              {"OS Clone", "ic_os_main"},
                              {"Disk Image Create", "ic_dmg"},
                              {"Disk Manager", "ic_tool"}};
    for (int i = 0; i < 4; ++i) {
        const QRect row(0, banner.height() + 10 + i * 52, 200, 52);
        const bool chosen = i == 0;
        if (chosen)
            Artwork::paint(p, QStringLiteral("tab_on"), row, false);
        const QString icon = QLatin1String(tabs[i][1]) + (chosen ? QStringLiteral("_sel") : QString());
        Artwork::paint(p, icon, QRectF(24, row.y() + 14, 24, 24));
        p.setPen(chosen ? KitStyle::textPrimary() : KitStyle::textSecondary());
        p.setFont(KitStyle::font(13, chosen));
        p.drawText(row.adjusted(62, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, QLatin1String(tabs[i][0]));
    }
    p.end();
    QVERIFY(window.save(screenshotFolder(QStringLiteral("ui")) + QStringLiteral("/banner-tabs.png")));
}
