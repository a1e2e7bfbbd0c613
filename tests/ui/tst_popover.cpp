#include "Screenshot.h"
#include "TestMain.h"
#include "UiTestKit.h"
#include "ui/Popover.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace {

struct Scene {
    QWidget window;
    QPushButton* anchor;
    QPushButton* elsewhere;
    Scene(QRect anchorRect = QRect(100, 80, 120, 40)) {
        window.resize(800, 520);
        UiTestKit::paintAsWindow(&window);
        anchor = new QPushButton(QStringLiteral("Source"), &window);
        anchor->setGeometry(anchorRect);
        elsewhere = new QPushButton(QStringLiteral("Elsewhere"), &window);
        elsewhere->setGeometry(600, 440, 120, 40);
        window.show();
    }
};

QWidget* content(int w, int h) {
    auto* c = new QLabel(QStringLiteral("Internal Drives"));
    c->setFixedSize(w, h);
    return c;
}

} // namespace

class TestPopover : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void shownUnderTheAnchorWithItsArrow() {
        Scene s;
        QVERIFY(QTest::qWaitForWindowExposed(&s.window));
        Popover popover(&s.window);
        QWidget* c = content(240, 160);
        popover.setContent(c);
        QVERIFY(!popover.isShown());
        popover.showRelativeTo(s.anchor, 1);
        QVERIFY(popover.isShown());
        QVERIFY(popover.isVisible());
        QCOMPARE(popover.parentWidget(), &s.window);
        QVERIFY(popover.isAncestorOf(c));
        QCOMPARE(popover.arrowSide(), 1);
        // Right under the anchor, centred on it, with room for the arrow above the content.
        QCOMPARE(popover.y(), s.anchor->geometry().bottom() + 1);
        QVERIFY(qAbs(popover.geometry().center().x() - s.anchor->geometry().center().x()) <= 1);
        QVERIFY(c->geometry().top() >= 9); // the arrow is 9 points deep
        saveScreenshot(&s.window, QStringLiteral("ui"), QStringLiteral("popover"));

        // New content replaces the old, which is deleted; the panel grows with it and its arrow.
        QPointer<QWidget> first = c;
        QWidget* second = content(300, 200);
        popover.setContent(second);
        QCOMPARE(popover.content(), second);
        UiTestKit::flushEvents();
        QVERIFY(first.isNull());
        QTRY_VERIFY(popover.width() >= 300);
        QTRY_VERIFY(popover.height() >= 200 + 9);
    }

    void sideTwoGoesRightOrFlipsWhenThereIsNoRoom() {
        Scene s(QRect(300, 200, 120, 40));
        QVERIFY(QTest::qWaitForWindowExposed(&s.window));
        Popover popover(&s.window);
        popover.setContent(content(200, 120));
        popover.showRelativeTo(s.anchor, 2);
        QCOMPARE(popover.arrowSide(), 2);
        QCOMPARE(popover.x(), s.anchor->geometry().right() + 1);

        // An anchor at the right edge: the panel goes to its left instead.
        s.anchor->setGeometry(660, 200, 120, 40);
        popover.closePopover();
        popover.showRelativeTo(s.anchor, 2);
        QCOMPARE(popover.arrowSide(), 0);
        QCOMPARE(popover.geometry().right(), s.anchor->geometry().left() - 1);

        // Under an anchor at the bottom there is no room: it opens above.
        s.anchor->setGeometry(300, 470, 120, 40);
        popover.closePopover();
        popover.showRelativeTo(s.anchor, 1);
        QCOMPARE(popover.arrowSide(), 3);
        QCOMPARE(popover.geometry().bottom(), s.anchor->geometry().top() - 1);
        QVERIFY(s.window.rect().contains(popover.geometry()));
    }

    void closesOnAClickOutsideOrEscapeOnly() {
        Scene s;
        QVERIFY(QTest::qWaitForWindowExposed(&s.window));
        Popover popover(&s.window);
        auto* inside = new QPushButton(QStringLiteral("Row"));
        inside->setFixedSize(200, 100);
        popover.setContent(inside);
        QSignalSpy closed(&popover, &Popover::closed);
        popover.showRelativeTo(s.anchor);

        QTest::mouseClick(inside, Qt::LeftButton);
        QVERIFY(popover.isShown());
        // The anchor's own action decides what a click on it does.
        QTest::mouseClick(s.anchor, Qt::LeftButton);
        QVERIFY(popover.isShown());
        QCOMPARE(closed.count(), 0);

        QTest::mouseClick(s.elsewhere, Qt::LeftButton);
        QVERIFY(!popover.isShown());
        QVERIFY(!popover.isVisible());
        QCOMPARE(closed.count(), 1);
        // Once closed, further clicks report nothing.
        QTest::mouseClick(s.elsewhere, Qt::LeftButton);
        QCOMPARE(closed.count(), 1);

        // Shown again, Escape on it closes it, and so does Escape typed anywhere in the window.
        popover.showRelativeTo(s.anchor);
        QTest::keyClick(&popover, Qt::Key_Escape);
        QCOMPARE(closed.count(), 2);
        QVERIFY(!popover.isShown());
        popover.showRelativeTo(s.anchor);
        QVERIFY(popover.isShown());
        QTest::keyClick(s.elsewhere, Qt::Key_Escape);
        QCOMPARE(closed.count(), 3);
        popover.closePopover();
        QCOMPARE(closed.count(), 3);
    }
};

TAVRILL_TEST(TestPopover)

#include "tst_popover.moc"
