#include "tst_attachedwindow.h"

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

void TestAttachedWindow::placedCentredUnderThePoint() {
    QWidget host;
    host.resize(800, 560);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));

    QWidget* content = fixedContent(300, 140);
    const QPoint point = AttachedWindow::middleTop(&host);
    QCOMPARE(point, QPoint(397, 0));
    auto* panel = new AttachedWindow(content, point, &host);
    QCOMPARE(panel->parentWidget(), &host);
    QCOMPARE(panel->content(), content);
    QVERIFY(panel->isAncestorOf(content));
    QVERIFY(panel->isVisible());
    QCOMPARE(panel->size(), QSize(300, 140));
    // Centred on x = 397 and 5 points under the top edge.
    QCOMPARE(panel->pos(), QPoint(247, 5));

    auto* other = new AttachedWindow(fixedContent(100, 40), QPoint(400, 100), &host, 12);
    QCOMPARE(other->pos(), QPoint(350, 112));
    // The newest panel is on top of everything else in the window.
    QCOMPARE(host.children().last(), other);
}

void TestAttachedWindow::pointOfAnInnerHostIsMappedToTheWindow() {
    QWidget window;
    window.resize(700, 500);
    auto* inner = new QWidget(&window);
    inner->setGeometry(100, 60, 500, 400);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    auto* panel = new AttachedWindow(fixedContent(200, 80), AttachedWindow::middleTop(inner), inner);
    // It lives in the top-level window, not in the inner widget, so nothing clips it.
    QCOMPARE(panel->parentWidget(), &window);
    QCOMPARE(panel->hostWindow(), inner);
    // middleTop(inner) = (247, 0) in the inner widget = (347, 60) in the window.
    QCOMPARE(panel->pos(), QPoint(347 - 100, 65));
}

void TestAttachedWindow::followsItsContentAndNewPoints() {
    QWidget host;
    host.resize(800, 600);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));

    QWidget* content = fixedContent(200, 100);
    auto* panel = new AttachedWindow(content, QPoint(400, 0), &host);
    QCOMPARE(panel->pos(), QPoint(300, 5));

    // A popup that switches to a larger view stays centred on its point.
    content->setFixedSize(400, 220);
    QTRY_COMPARE(panel->size(), QSize(400, 220));
    QCOMPARE(panel->pos(), QPoint(200, 5));

    panel->setPoint(QPoint(500, 40));
    QCOMPARE(panel->pos(), QPoint(300, 45));
}

void TestAttachedWindow::keptInsideTheWindow() {
    QWidget host;
    host.resize(400, 300);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));

    auto* left = new AttachedWindow(fixedContent(200, 100), QPoint(10, 0), &host);
    QCOMPARE(left->pos(), QPoint(0, 5));
    auto* right = new AttachedWindow(fixedContent(200, 100), QPoint(390, 250), &host);
    QCOMPARE(right->pos(), QPoint(200, 200));
    // Wider than the window: it keeps its place rather than being squeezed.
    auto* wide = new AttachedWindow(fixedContent(500, 100), QPoint(200, 0), &host);
    QCOMPARE(wide->pos(), QPoint(-50, 5));
}

void TestAttachedWindow::closeEmitsOnceAndDeletes() {
    QWidget host;
    host.resize(600, 400);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));

    QPointer<QWidget> content = fixedContent(120, 60);
    QPointer<AttachedWindow> panel = new AttachedWindow(content, QPoint(300, 0), &host);
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
