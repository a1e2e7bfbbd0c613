#include "Pointer.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "UiTestKit.h"
#include "ui/Artwork.h"
#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/SetpFViewController.h"
#include "ui/SetpViewController.h"
#include "ui/StripedProgressBar.h"

#include <QLabel>
#include <QTest>
#include <QVBoxLayout>

#include <limits>
#include <utility>

namespace {

const QColor kBlue(58, 147, 252);
const QColor kGrey(99, 99, 99);

// Checks that exactly label n is blue and the picture is prefix + n.
void checkStep(StepIndicatorView& view, int n, const QString& prefix) {
    QCOMPARE(view.currentStep(), n);
    QCOMPARE(view.pictureName(), prefix + QString::number(n));
    QVERIFY2(Artwork::exists(view.pictureName()), qPrintable(view.pictureName()));
    for (int i = 1; i <= view.stepCount(); ++i)
        QCOMPARE(view.labelColor(i), i == n ? kBlue : kGrey);
}

} // namespace

class TestIndicators : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void stepsColourOneLabelAndPickTheirPicture() {
        SetpViewController three;
        SetpFViewController four;
        QCOMPARE(three.stepCount(), 3);
        QCOMPARE(four.stepCount(), 4);
        for (const auto& [view, prefix] :
             {std::pair<StepIndicatorView*, QString>{&three, QStringLiteral("step")},
              std::pair<StepIndicatorView*, QString>{&four, QStringLiteral("oc_step")}}) {
            checkStep(*view, 1, prefix);
            for (int n = view->stepCount(); n >= 1; --n) {
                view->setSetpIn(n);
                checkStep(*view, n, prefix);
            }
            // Out of range: the indicator stays where it was.
            for (int n : {0, view->stepCount() + 1, -1, 100}) {
                view->setSetpIn(n);
                checkStep(*view, 1, prefix);
            }
        }
        four.setLabelTexts({QStringLiteral("A"), QStringLiteral("B")});
        QCOMPARE(four.label(2)->text(), QStringLiteral("B"));
        QVERIFY(four.label(3)->text().isEmpty());
        QVERIFY(!four.label(5));
    }

    void labelsSitUnderTheirMarks() {
        QWidget page;
        UiTestKit::paintAsWindow(&page);
        auto* layout = new QVBoxLayout(&page);
        auto* three = new SetpViewController;
        auto* four = new SetpFViewController;
        layout->addWidget(three);
        layout->addSpacing(20);
        layout->addWidget(four);
        page.resize(560, 150);
        three->setSetpIn(2);
        four->setSetpIn(3);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        // The pictures put mark i at the middle of share i of their width.
        for (StepIndicatorView* view :
             {static_cast<StepIndicatorView*>(three), static_cast<StepIndicatorView*>(four)}) {
            const QRect picture = view->pictureView()->geometry();
            const int n = view->stepCount();
            for (int i = 1; i <= n; ++i) {
                const double mark = picture.left() + picture.width() * (2.0 * i - 1) / (2.0 * n);
                QVERIFY(qAbs(view->label(i)->geometry().center().x() - mark) <= 2);
                QVERIFY(view->label(i)->geometry().top() >= picture.bottom());
            }
        }
        saveScreenshot(&page, QStringLiteral("ui"), QStringLiteral("step-indicators"));
    }

    void barGlidesClampsAndStripesOnlyWhileWorking() {
        QWidget page;
        UiTestKit::paintAsWindow(&page);
        auto* bar = new StripedProgressBar(&page);
        bar->setGeometry(20, 20, 400, 10);
        page.resize(440, 50);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));

        QVERIFY(bar->isStriping());
        bar->setDoubleValue(0.6);
        QCOMPARE(bar->doubleValue(), 0.6);
        QVERIFY(bar->displayedValue() < 0.6);
        QTRY_COMPARE(bar->displayedValue(), 0.6);
        const int phase = bar->stripePhase();
        QTRY_VERIFY(bar->stripePhase() != phase);
        saveScreenshot(&page, QStringLiteral("ui"), QStringLiteral("progress-bar"));

        // A new run starts from an empty bar at once.
        bar->setDoubleValue(0.0);
        QCOMPARE(bar->displayedValue(), 0.0);

        bar->setDoubleValue(7.5);
        QCOMPARE(bar->doubleValue(), 1.0);
        QTRY_COMPARE(bar->displayedValue(), 1.0);
        QVERIFY(!bar->isStriping());
        bar->setDoubleValue(-3);
        QCOMPARE(bar->doubleValue(), 0.0);
        bar->setDoubleValue(std::numeric_limits<double>::quiet_NaN());
        QCOMPARE(bar->doubleValue(), 0.0);
        QVERIFY(bar->isStriping());

        bar->hide();
        QVERIFY(!bar->isStriping());
        // Hidden, a value is taken at once: there is nothing to watch gliding.
        bar->setDoubleValue(0.3);
        QCOMPARE(bar->displayedValue(), 0.3);
        bar->show();
        QVERIFY(bar->isStriping());
        bar->setAnimated(false);
        QVERIFY(!bar->isStriping());
        bar->setDoubleValue(0.8);
        QCOMPARE(bar->displayedValue(), 0.8);
    }

    void imageButtonLooksFollowThePointer() {
        ImageButton button;
        button.setImages(QStringLiteral("btn_tool"), QStringLiteral("btn_tool_hover"),
                         QStringLiteral("btn_tool_press"));
        button.setText(QStringLiteral("Rename"));
        button.resize(button.sizeHint());
        button.show();
        QVERIFY(QTest::qWaitForWindowExposed(&button));
        // The pointer left by earlier tests may rest where the button opened: start from outside.
        hover(&button, false);
        QCOMPARE(button.currentImage(), QStringLiteral("btn_tool"));
        hover(&button);
        QCOMPARE(button.currentImage(), QStringLiteral("btn_tool_hover"));
        button.setDown(true);
        QCOMPARE(button.currentImage(), QStringLiteral("btn_tool_press"));
        button.setDown(false);
        hover(&button, false);
        QCOMPARE(button.currentImage(), QStringLiteral("btn_tool"));
        button.setEnabled(false);
        QCOMPARE(button.currentImage(), QStringLiteral("btn_tool"));
    }
};

TAVRILL_TEST(TestIndicators)

#include "tst_indicators.moc"
