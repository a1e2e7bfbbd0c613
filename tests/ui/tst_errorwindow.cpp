#include "Screenshot.h"
#include "TestMain.h"
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

// The whole message is visible: nothing cut at the label's edge.
bool showsAllOf(ErrorWindowController* popup) {
    return popup->errorLabel()->height() >= popup->errorLabel()->heightForWidth(popup->errorLabel()->width());
}

} // namespace

class TestErrorWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void showsTheTextAtTheTopMiddleUntilDone() {
        QWidget main;
        UiTestKit::paintAsWindow(&main);
        QVERIFY(UiTestKit::showSized(&main, QSize(860, 560)));

        QPointer<ErrorWindowController> popup = ErrorWindowController::showErrorOn(&main, kSameDrive);
        QVERIFY(popup);
        QCOMPARE(popup->errorLabel()->text(), kSameDrive);
        QCOMPARE(popup->doneButton()->text(), QStringLiteral("Done"));
        QPointer<AttachedWindow> host = popup->superDelegate();
        QVERIFY(host);
        QVERIFY(host->isVisible());
        QCOMPARE(host->parentWidget(), &main);
        QCOMPARE(host->pos().y(), 5);
        QVERIFY(qAbs(host->x() + host->width() / 2 - (860 / 2 - 3)) <= 1);
        QVERIFY(showsAllOf(popup));
        saveScreenshot(&main, QStringLiteral("ui"), QStringLiteral("error-window"));

        popup->changeErrorLabelStr(QStringLiteral("No file/disk has been selected\u2026"));
        QCOMPARE(popup->errorText(), QStringLiteral("No file/disk has been selected\u2026"));

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
        QVERIFY(host.isNull());
        QVERIFY(popup.isNull());
    }
};

TAVRILL_TEST(TestErrorWindow)

#include "tst_errorwindow.moc"
