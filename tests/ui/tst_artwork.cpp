#include "TestMain.h"
#include "ui/Artwork.h"

#include <QImage>
#include <QTest>

namespace {

// Every picture the screens ask for by name: the banner, the tab bar and its icons in both
// looks, drive rows, slot pictures, the file list's checkboxes, steps and clone stages, buttons
// and marks.
const QStringList kNames =
    QStringLiteral("top tab_on ic_disk_icon ic_os_main ic_dmg ic_tool ic_disk_icon_sel ic_os_main_sel "
                   "ic_dmg_sel ic_tool_sel "
                   "ic_disk ic_usb ic_os ic_disk_sel ic_usb_sel ic_os_sel "
                   "ic_usb_main ic_os_main_b ic_disk_main ic_folder add "
                   "checkbox_sel checkbox_unsel checkbox_halfsel "
                   "step1 step2 step3 oc_step1 oc_step2 oc_step3 oc_step4 erase copy "
                   "btn_tool btn_tool_hover btn_tool_press btn_close btn_close_hover btn_close_press "
                   "btn_menu btn_menu_hover "
                   "btn_remove btn_remove_hover btn_remove_press btn_help ic_warning ic_arrow_down")
        .split(QLatin1Char(' '));

int opaquePixels(const QImage& image) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    int count = 0;
    for (int y = 0; y < argb.height(); ++y)
        for (int x = 0; x < argb.width(); ++x)
            count += qAlpha(argb.pixel(x, y)) > 0 ? 1 : 0;
    return count;
}

} // namespace

class TestArtwork : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void everyNamedPictureExistsAndDraws() {
        QStringList missing;
        QStringList blank;
        for (const QString& name : kNames) {
            if (!Artwork::exists(name) || Artwork::naturalSize(name).isEmpty()) {
                missing << name;
                continue;
            }
            const QSize natural = Artwork::naturalSize(name);
            const QPixmap pixmap = Artwork::pixmap(name, natural, 2.0);
            QCOMPARE(pixmap.size(), natural * 2);
            // Something is drawn, and it is not a filled rectangle of the whole box either
            // (a picture always leaves some of its box free), except the banner and the highlight.
            const int opaque = opaquePixels(pixmap.toImage());
            const int all = pixmap.width() * pixmap.height();
            if (opaque == 0 ||
                (opaque == all && name != QLatin1String("top") && name != QLatin1String("tab_on")))
                blank << name;
        }
        QVERIFY2(missing.isEmpty(), qPrintable(QStringLiteral("missing: ") + missing.join(QLatin1Char(' '))));
        QVERIFY2(blank.isEmpty(), qPrintable(QStringLiteral("blank: ") + blank.join(QLatin1Char(' '))));
        QVERIFY(!Artwork::exists(QStringLiteral("no_such_picture")));
        QVERIFY(!Artwork::exists(QString()));
    }

    void otherLooksDifferFromThePlainOnes() {
        // A selected, hovered or pressed look that draws like the plain one shows the user nothing.
        const QSize size(48, 48);
        const auto image = [&](const QString& name) { return Artwork::pixmap(name, size).toImage(); };
        for (const QString& name : kNames) {
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
};

TAVRILL_TEST(TestArtwork)

#include "tst_artwork.moc"
