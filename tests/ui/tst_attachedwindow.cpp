#include "TestMain.h"
#include "UiTestKit.h"
#include "ui/AttachedWindow.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTest>

namespace {

QWidget* fixedContent(int w, int h) {
    auto* content = new QWidget;
    content->setFixedSize(w, h);
    return content;
}

} // namespace

class TestAttachedWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void placedCentredUnderThePointInsideTheWindow_data() {
        QTest::addColumn<QSize>("window");
        QTest::addColumn<QSize>("content");
        QTest::addColumn<QPoint>("point");
        QTest::addColumn<int>("distance"); // -1: the usual one
        QTest::addColumn<QPoint>("expected");
        QTest::newRow("centred, 5 under")
            << QSize(800, 560) << QSize(300, 140) << QPoint(397, 0) << -1 << QPoint(247, 5);
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
        QCOMPARE(panel->content(), shown);
        QVERIFY(panel->isAncestorOf(shown));
        QVERIFY(panel->isVisible());
        // The newest panel is on top of everything else in the window.
        QCOMPARE(host.children().last(), panel);
        QVERIFY(earlier->isVisible());
    }

    void pointOfAnInnerHostIsMappedToTheWindow() {
        QWidget window;
        auto* inner = new QWidget(&window);
        inner->setGeometry(100, 60, 500, 400);
        QVERIFY(UiTestKit::showSized(&window, QSize(700, 500)));
        QCOMPARE(AttachedWindow::middleTop(&window), QPoint(347, 0));

        auto* panel = new AttachedWindow(fixedContent(200, 80), AttachedWindow::middleTop(inner), inner);
        // It lives in the top-level window, not in the inner widget, so nothing clips it.
        QCOMPARE(panel->parentWidget(), &window);
        QCOMPARE(panel->hostWindow(), inner);
        // middleTop(inner) = (247, 0) in the inner widget = (347, 60) in the window.
        QCOMPARE(panel->pos(), QPoint(347 - 100, 65));
    }

    void followsItsContentAndNewPointsAndClosesOnce() {
        QWidget host;
        QVERIFY(UiTestKit::showSized(&host, QSize(800, 600)));
        QPointer<QWidget> content = fixedContent(200, 100);
        QPointer<AttachedWindow> panel = new AttachedWindow(content, QPoint(400, 0), &host);
        QCOMPARE(panel->pos(), QPoint(300, 5));

        // A popup that switches to a larger view stays centred on its point.
        content->setFixedSize(400, 220);
        QTRY_COMPARE(panel->size(), QSize(400, 220));
        QCOMPARE(panel->pos(), QPoint(200, 5));
        panel->setPoint(QPoint(500, 40));
        QCOMPARE(panel->pos(), QPoint(300, 45));

        QSignalSpy closed(panel.data(), &AttachedWindow::closed);
        QVERIFY(panel->close());
        QCOMPARE(closed.count(), 1);
        QVERIFY(!panel->isVisible());
        panel->close();
        QCOMPARE(closed.count(), 1);
        UiTestKit::flushEvents();
        QVERIFY(panel.isNull());
        QVERIFY(content.isNull());
    }
};

TAVRILL_TEST(TestAttachedWindow)

#include "tst_attachedwindow.moc"
