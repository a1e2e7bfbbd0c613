#include "Screenshot.h"
#include "TestMain.h"
#include "UiTestKit.h"
#include "ui/AttachedWindow.h"
#include "ui/ErrorWindowController.h"
#include "ui/FlatButton.h"
#include "ui/PanelShadow.h"
#include "ui/Popover.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <tuple>

namespace {

const QString kSameDrive = QStringLiteral(
    "You can\u2019t select the source drive as the destination drive, just select another drive.");

QWidget* fixedContent(int w, int h) {
    auto* c = new QLabel(QStringLiteral("Internal Drives"));
    c->setFixedSize(w, h);
    return c;
}

// The whole message is visible: nothing cut at the label's edge.
bool showsAllOf(ErrorWindowController* popup) {
    return popup->errorLabel()->height() >= popup->errorLabel()->heightForWidth(popup->errorLabel()->width());
}

} // namespace

// Panels shown over the window: popovers at a control, attached windows at a point and the error
// popup on them.
class TestPanels : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void placedAtItsAnchorOrWhereThereIsRoomAndClosedFromOutside() {
        // A window with a button to anchor the popover at and another one away from it.
        QWidget window;
        UiTestKit::paintAsWindow(&window);
        auto* anchorButton = new QPushButton(QStringLiteral("Source"), &window);
        anchorButton->setGeometry(100, 80, 120, 40);
        auto* elsewhere = new QPushButton(QStringLiteral("Elsewhere"), &window);
        elsewhere->setGeometry(600, 440, 120, 40);
        QVERIFY(UiTestKit::showSized(&window, QSize(800, 520)));
        Popover popover(&window);
        QWidget* c = fixedContent(240, 160);
        popover.setContent(c);
        QVERIFY(!popover.isShown());
        popover.showRelativeTo(anchorButton, 1);
        QVERIFY(popover.isShown() && popover.isVisible() && popover.isAncestorOf(c));
        QCOMPARE(popover.parentWidget(), &window);
        // Centred under the anchor, with room for the arrow above the content.
        QVERIFY(qAbs(popover.geometry().center().x() - anchorButton->geometry().center().x()) <= 1);
        QVERIFY(c->geometry().top() >= 9); // the arrow is 9 points deep
        saveScreenshot(&window, QStringLiteral("ui"), QStringLiteral("popover"));

        // Against the anchor on the side asked for (1 under, 2 right), or on the opposite side
        // (3 above, 0 left) when there is no room.
        const auto touchesAnchor = [&](int side) {
            const QRect p = popover.geometry();
            const QRect a = anchorButton->geometry();
            return side == 0   ? p.right() == a.left() - 1
                   : side == 1 ? p.top() == a.bottom() + 1
                   : side == 2 ? p.left() == a.right() + 1
                               : p.bottom() == a.top() - 1;
        };
        for (const auto& [anchor, asked, side] : {std::tuple{QRect(100, 80, 120, 40), 1, 1},
                                                  {QRect(300, 200, 120, 40), 2, 2},
                                                  {QRect(660, 200, 120, 40), 2, 0},
                                                  {QRect(300, 470, 120, 40), 1, 3}}) {
            anchorButton->setGeometry(anchor);
            popover.closePopover();
            popover.showRelativeTo(anchorButton, asked);
            QCOMPARE(popover.arrowSide(), side);
            QVERIFY(touchesAnchor(side));
            QVERIFY(window.rect().contains(popover.geometry()));
            // Drawn with the arrow on that side: 3 px in from the arrow's edge only the arrow is
            // panel-coloured, 3 px in from the opposite edge all but the rounded corners are.
            const QImage shot = window.grab().toImage();
            const QRect p = popover.geometry();
            const auto panelPixels = [&](int edge) {
                const bool row = edge == 1 || edge == 3;
                const QPoint from = edge == 0   ? QPoint(p.left() + 3, p.top())
                                    : edge == 1 ? QPoint(p.left(), p.top() + 3)
                                    : edge == 2 ? QPoint(p.right() - 3, p.top())
                                                : QPoint(p.left(), p.bottom() - 3);
                int count = 0;
                for (int i = 0; i < (row ? p.width() : p.height()); ++i) {
                    const QColor c = shot.pixelColor(from + (row ? QPoint(i, 0) : QPoint(0, i)));
                    count += qAbs(c.red() - 47) <= 2 && qAbs(c.green() - 48) <= 2 && qAbs(c.blue() - 52) <= 2;
                }
                return count;
            };
            // The arrow sits on the panel's edge that faces the anchor: side 1 is the top edge.
            const int arrowEdge = side == 0 ? 2 : side == 1 ? 1 : side == 2 ? 0 : 3;
            const int length = arrowEdge == 1 || arrowEdge == 3 ? p.width() : p.height();
            const int atArrow = panelPixels(arrowEdge);
            QVERIFY2(atArrow >= 2 && atArrow <= 20, qPrintable(QString::number(atArrow)));
            QVERIFY2(panelPixels((arrowEdge + 2) % 4) >= length - 24, qPrintable(QString::number(side)));
        }

        // New content replaces the old, which is deleted; the panel grows with it and its arrow.
        QPointer<QWidget> first = c;
        popover.setContent(fixedContent(300, 200));
        UiTestKit::flushEvents();
        QVERIFY(first.isNull());
        QTRY_VERIFY(popover.width() >= 300);
        QTRY_VERIFY(popover.height() >= 200 + 9);

        // It closes on a click outside it or on Escape only.
        auto* inside = new QPushButton(QStringLiteral("Row"));
        inside->setFixedSize(200, 100);
        popover.setContent(inside);
        QSignalSpy closed(&popover, &Popover::closed);
        QTest::mouseClick(inside, Qt::LeftButton);
        QVERIFY(popover.isShown());
        // The anchor's own action decides what a click on it does.
        QTest::mouseClick(anchorButton, Qt::LeftButton);
        QVERIFY(popover.isShown());
        QCOMPARE(closed.count(), 0);

        QTest::mouseClick(elsewhere, Qt::LeftButton);
        QVERIFY(!popover.isShown() && !popover.isVisible());
        QCOMPARE(closed.count(), 1);
        // Once closed, further clicks report nothing.
        QTest::mouseClick(elsewhere, Qt::LeftButton);
        QCOMPARE(closed.count(), 1);

        // Shown again, Escape on it closes it, and so does Escape typed anywhere in the window.
        popover.showRelativeTo(anchorButton);
        QTest::keyClick(&popover, Qt::Key_Escape);
        QCOMPARE(closed.count(), 2);
        QVERIFY(!popover.isShown());
        popover.showRelativeTo(anchorButton);
        QVERIFY(popover.isShown());
        QTest::keyClick(elsewhere, Qt::Key_Escape);
        QCOMPARE(closed.count(), 3);
    }

    void placedCentredUnderThePointInsideTheWindow_data() {
        QTest::addColumn<QSize>("window");
        QTest::addColumn<QSize>("content");
        QTest::addColumn<QPoint>("point");
        QTest::addColumn<int>("distance"); // -1: the usual one
        QTest::addColumn<QPoint>("expected");
        QTest::newRow("another distance")
            << QSize(800, 560) << QSize(100, 40) << QPoint(400, 100) << 12 << QPoint(350, 112);
        QTest::newRow("left edge") << QSize(400, 300) << QSize(200, 100) << QPoint(10, 0) << -1
                                   << QPoint(0, 5);
        QTest::newRow("bottom right")
            << QSize(400, 300) << QSize(200, 100) << QPoint(390, 250) << -1 << QPoint(200, 200);
        // Wider than the window: it keeps its place rather than being squeezed.
        QTest::newRow("wider") << QSize(400, 300) << QSize(500, 100) << QPoint(200, 0) << -1
                               << QPoint(-50, 5);
    }

    void placedCentredUnderThePointInsideTheWindow() {
        QFETCH(QSize, window);
        QFETCH(QSize, content);
        QFETCH(QPoint, point);
        QFETCH(int, distance);
        QFETCH(QPoint, expected);
        QWidget host;
        QVERIFY(UiTestKit::showSized(&host, window));
        auto* earlier = new AttachedWindow(fixedContent(50, 20), QPoint(100, 100), &host);
        QWidget* shown = fixedContent(content.width(), content.height());
        auto* panel = distance < 0 ? new AttachedWindow(shown, point, &host)
                                   : new AttachedWindow(shown, point, &host, distance);
        QCOMPARE(panel->pos(), expected);
        QCOMPARE(panel->size(), content);
        QCOMPARE(panel->parentWidget(), &host);
        QVERIFY(panel->isAncestorOf(shown) && panel->isVisible());
        // The newest panel is on top of everything else in the window.
        QCOMPARE(host.children().last(), panel);
        QVERIFY(earlier->isVisible());
    }

    void followsItsContentAndClosesOnce() {
        QWidget host;
        auto* inner = new QWidget(&host);
        inner->setGeometry(100, 60, 500, 400);
        QVERIFY(UiTestKit::showSized(&host, QSize(800, 600)));
        // A panel of an inner widget lives in the top-level window, so nothing clips it.
        // middleTop(inner) = (247, 0) in the inner widget = (347, 60) in the window.
        auto* innerPanel = new AttachedWindow(fixedContent(200, 80), AttachedWindow::middleTop(inner), inner);
        QCOMPARE(innerPanel->parentWidget(), &host);
        QCOMPARE(innerPanel->hostWindow(), inner);
        QCOMPARE(innerPanel->pos(), QPoint(347 - 100, 65));

        QPointer<QWidget> content = fixedContent(200, 100);
        QPointer<AttachedWindow> panel = new AttachedWindow(content, QPoint(400, 0), &host);
        QCOMPARE(panel->pos(), QPoint(300, 5));

        // A popup that switches to a larger view stays centred on its point.
        content->setFixedSize(400, 220);
        QTRY_COMPARE(panel->size(), QSize(400, 220));
        QCOMPARE(panel->pos(), QPoint(200, 5));

        // Its shadow, under it and 24 points around it (4 further down), follows it and darkens
        // the window just below it, not further away.
        innerPanel->close();
        host.setStyleSheet(QStringLiteral("background: rgb(200, 200, 200)"));
        QPointer<PanelShadow> shadow;
        for (auto* s : host.findChildren<PanelShadow*>())
            if (s->geometry().contains(panel->geometry()))
                shadow = s;
        QVERIFY(shadow);
        QTRY_COMPARE(shadow->geometry(), QRect(200 - 24, 5 - 24 + 4, 400 + 48, 220 + 48));
        QVERIFY(shadow->isVisible());
        QTRY_VERIFY(host.grab().toImage().pixelColor(400, 5 + 220 + 6).red() <
                    host.grab().toImage().pixelColor(400, 5 + 220 + 60).red());

        QSignalSpy closed(panel.data(), &AttachedWindow::closed);
        QVERIFY(panel->close());
        QCOMPARE(closed.count(), 1);
        QVERIFY(!panel->isVisible());
        QVERIFY(!shadow->isVisible());
        panel->close();
        QCOMPARE(closed.count(), 1);
        UiTestKit::flushEvents();
        QVERIFY(panel.isNull());
        QVERIFY(content.isNull());
        QTRY_VERIFY(shadow.isNull());
    }

    void showsTheTextAtTheTopMiddleUntilDone() {
        QWidget main;
        UiTestKit::paintAsWindow(&main);
        QVERIFY(UiTestKit::showSized(&main, QSize(860, 560)));

        QPointer<ErrorWindowController> popup = ErrorWindowController::showErrorOn(&main, kSameDrive);
        QVERIFY(popup);
        QCOMPARE(popup->errorLabel()->text(), kSameDrive);
        QCOMPARE(popup->doneButton()->text(), QStringLiteral("Done"));
        QPointer<AttachedWindow> host = popup->superDelegate();
        QVERIFY(host && host->isVisible());
        QCOMPARE(host->pos().y(), 5);
        QVERIFY(qAbs(host->x() + host->width() / 2 - (860 / 2 - 3)) <= 1);
        QVERIFY(showsAllOf(popup));
        saveScreenshot(&main, QStringLiteral("ui"), QStringLiteral("error-window"));

        // A longer text grows the popup downwards, never sideways.
        ErrorWindowController* longOne = ErrorWindowController::showErrorOn(
            &main,
            QStringLiteral("Insufficient disk space on this destination drive, please select another drive. ")
                .repeated(3));
        QVERIFY(longOne->superDelegate()->height() > host->height());
        QCOMPARE(longOne->superDelegate()->width(), 340);
        QVERIFY(showsAllOf(longOne));

        // "Done" closes it once and deletes it with its panel.
        QSignalSpy closed(popup.data(), &ErrorWindowController::closed);
        QTest::mouseClick(popup->doneButton(), Qt::LeftButton);
        QCOMPARE(closed.count(), 1);
        QVERIFY(!host->isVisible());
        UiTestKit::flushEvents();
        QVERIFY(host.isNull() && popup.isNull());
    }
};

TAVRILL_TEST(TestPanels)

#include "tst_panels.moc"
