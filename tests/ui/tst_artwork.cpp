#include "tst_artwork.h"

#include "UiTestKit.h"
#include "ui/Artwork.h"

#include <QImage>
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

void TestArtwork::otherLooksDifferFromThePlainOnes() {
    // A selected, hovered or pressed look that draws like the plain one shows the user nothing.
    const QSize size(48, 48);
    const auto image = [&](const QString& name) { return Artwork::pixmap(name, size).toImage(); };
    for (const QString& name : UiTestKit::artworkNames()) {
        const QString plain = name.section(QLatin1Char('_'), 0, -2);
        const QString look = name.section(QLatin1Char('_'), -1);
        if (name.startsWith(QLatin1String("checkbox")) ||
            !QStringList{"sel", "hover", "press"}.contains(look))
            continue;
        QVERIFY2(image(name) != image(plain), qPrintable(name));
        if (look == QLatin1String("press"))
            QVERIFY2(image(name) != image(plain + QStringLiteral("_hover")), qPrintable(name));
    }
    for (int n = 1; n <= 3; ++n)
        for (int m = n + 1; m <= 3; ++m)
            QVERIFY(Artwork::pixmap(QStringLiteral("step%1").arg(n), QSize(300, 28)).toImage() !=
                    Artwork::pixmap(QStringLiteral("step%1").arg(m), QSize(300, 28)).toImage());
}
