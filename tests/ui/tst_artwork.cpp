#include "tst_artwork.h"

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
    // Every picture at its own size at 2x on the window colour, with its name.
    const QStringList names = UiTestKit::artworkNames();
    const int columns = 6;
    const QSize cell(230, 130);
    const int rows = (int(names.size()) + columns - 1) / columns;
    QImage sheet(QSize(columns * cell.width(), rows * cell.height()) * 2, QImage::Format_ARGB32);
    sheet.setDevicePixelRatio(2.0);
    sheet.fill(KitStyle::windowBackground());
    QPainter painter(&sheet);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(KitStyle::font(9));
    for (int i = 0; i < names.size(); ++i) {
        const QRect box(QPoint((i % columns) * cell.width(), (i / columns) * cell.height()), cell);
        QSize natural = Artwork::naturalSize(names[i]);
        if (natural.width() > cell.width() - 16 || natural.height() > cell.height() - 30)
            natural.scale(cell.width() - 16, cell.height() - 30, Qt::KeepAspectRatio);
        const QRect art(box.x() + (cell.width() - natural.width()) / 2, box.y() + 8, natural.width(),
                        natural.height());
        painter.setPen(KitStyle::separator());
        painter.drawRect(art.adjusted(-1, -1, 0, 0));
        Artwork::paint(painter, names[i], art);
        painter.setPen(KitStyle::textSecondary());
        painter.drawText(QRect(box.x(), box.bottom() - 18, cell.width(), 16), Qt::AlignCenter, names[i]);
    }
    painter.end();
    const QString path = UiTestKit::screenshotDir() + QStringLiteral("/ui_artwork.png");
    QVERIFY(sheet.save(path));
}
