#include "tst_errorwindow.h"

#include "Screenshot.h"
#include "UiTestKit.h"
#include "ui/AttachedWindow.h"
#include "ui/ErrorWindowController.h"
#include "ui/FlatButton.h"

#include <QLabel>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString kSameDrive = QStringLiteral(
    "You can\u2019t select the source drive as the destination drive, just select another drive.");

} // namespace

void TestErrorWindow::showsTheTextAsGivenAtTheTopMiddle() {
    QWidget main;
    main.resize(860, 560);
    UiTestKit::paintAsWindow(&main);
    main.show();
    QVERIFY(QTest::qWaitForWindowExposed(&main));

    ErrorWindowController* popup = ErrorWindowController::showErrorOn(&main, kSameDrive);
    QVERIFY(popup);
    QCOMPARE(popup->errorLabel()->text(), kSameDrive);
    QCOMPARE(popup->doneButton()->text(), QStringLiteral("Done"));
    AttachedWindow* host = popup->superDelegate();
    QVERIFY(host);
    QVERIFY(host->isVisible());
    QCOMPARE(host->parentWidget(), &main);
    QCOMPARE(host->pos().y(), 5);
    QVERIFY(qAbs(host->x() + host->width() / 2 - (860 / 2 - 3)) <= 1);
    // The whole message is visible: nothing cut at the label's edge.
    QVERIFY(popup->errorLabel()->height() >=
            popup->errorLabel()->heightForWidth(popup->errorLabel()->width()));
    saveScreenshot(&main, QStringLiteral("ui"), QStringLiteral("error-window"));

    popup->changeErrorLabelStr(QStringLiteral("No file/disk has been selected\u2026"));
    QCOMPARE(popup->errorText(), QStringLiteral("No file/disk has been selected\u2026"));
    host->close();
}

void TestErrorWindow::doneClosesAndDeletesIt() {
    QWidget main;
    main.resize(800, 500);
    main.show();
    QVERIFY(QTest::qWaitForWindowExposed(&main));

    QPointer<ErrorWindowController> popup =
        ErrorWindowController::showErrorOn(&main, QStringLiteral("Some files copy failed!"));
    QPointer<AttachedWindow> host = popup->superDelegate();
    QSignalSpy closed(popup.data(), &ErrorWindowController::closed);
    QTest::mouseClick(popup->doneButton(), Qt::LeftButton);
    QCOMPARE(closed.count(), 1);
    QVERIFY(!host->isVisible());
    UiTestKit::flushEvents();
    QVERIFY(host.isNull());
    QVERIFY(popup.isNull());
}

void TestErrorWindow::longerTextsGrowThePopup() {
    QWidget main;
    main.resize(800, 500);
    main.show();
    QVERIFY(QTest::qWaitForWindowExposed(&main));

    ErrorWindowController* shortOne = ErrorWindowController::showErrorOn(&main, QStringLiteral("OK"));
    ErrorWindowController* longOne = ErrorWindowController::showErrorOn(
        &main,
        QStringLiteral("Insufficient disk space on this destination drive, please select another drive. ")
            .repeated(3));
    QVERIFY(longOne->superDelegate()->height() > shortOne->superDelegate()->height());
    QCOMPARE(longOne->superDelegate()->width(), 340);
    QVERIFY(longOne->errorLabel()->height() >=
            longOne->errorLabel()->heightForWidth(longOne->errorLabel()->width()));
}
