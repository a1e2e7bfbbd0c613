#include "LabelFit.h"
#include "Pointer.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "UiTestKit.h"
#include "ui/Artwork.h"
#include "ui/DragView.h"
#include "ui/ElidedLabel.h"
#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/SelectValueView.h"
#include "ui/SelectValueViewDelegate.h"
#include "ui/SetpFViewController.h"
#include "ui/SetpViewController.h"
#include "ui/StripedProgressBar.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QMimeData>
#include <QTest>
#include <QUrl>
#include <QVBoxLayout>

#include <limits>
#include <tuple>

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

// Checks that exactly label n is blue and the picture is prefix + n.
void checkStep(StepIndicatorView& view, int n, const QString& prefix) {
    QCOMPARE(view.currentStep(), n);
    QCOMPARE(view.pictureName(), prefix + QString::number(n));
    QVERIFY2(Artwork::exists(view.pictureName()), qPrintable(view.pictureName()));
    for (int i = 1; i <= view.stepCount(); ++i)
        QCOMPARE(view.labelColor(i), i == n ? QColor(58, 147, 252) : QColor(99, 99, 99));
}

struct Recorder : SelectValueViewDelegate {
    QStringList calls;
    QList<QStringList> drops;
    void selectDiskButton(int slot, QObject* sender) override {
        calls << QStringLiteral("select %1 %2").arg(slot).arg(sender ? sender->objectName() : QString());
    }
    void closeDiskValue(int slot) override { calls << QStringLiteral("close %1").arg(slot); }
    void viewDragAction(const QStringList& paths) override {
        calls << QStringLiteral("drop");
        drops << paths;
    }
};

// Drags data over the widget and drops it where `at` is, the way the window system does: enter,
// then drop, each delivered to the widget under the point and passed up to its parents.
// Answers whether the drop was taken.
bool dragAndDrop(QWidget* target, QMimeData* data, QPoint at) {
    QDragEnterEvent enter(at, Qt::CopyAction | Qt::MoveAction, data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &enter);
    if (!enter.isAccepted())
        return false;
    QDropEvent drop(QPointF(at), Qt::CopyAction | Qt::MoveAction, data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &drop);
    return drop.isAccepted();
}

std::unique_ptr<QMimeData> fileDrag(const QStringList& paths) {
    auto data = std::make_unique<QMimeData>();
    QList<QUrl> urls;
    for (const QString& p : paths)
        urls << QUrl::fromLocalFile(p);
    data->setUrls(urls);
    return data;
}

// Clicks the picture, the card below it and the close mark.
void clickEverywhere(SelectValueView& slot) {
    QTest::mouseClick(slot.selectDiskBut(), Qt::LeftButton);
    QTest::mouseClick(slot.dragVie(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 190));
    QTest::mouseClick(slot.closeDisk(), Qt::LeftButton);
}

} // namespace

// The kit's controls: pictures, step indicators, the progress bar, picture buttons and slots.
class TestControls : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void everyNamedPictureExistsDrawsAndDiffersFromItsOtherLooks() {
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

        // A selected, hovered or pressed look that draws like the plain one shows the user nothing.
        const auto image = [](const QString& name) { return Artwork::pixmap(name, QSize(48, 48)).toImage(); };
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

    void stepsColourOneLabelPickTheirPictureAndSitUnderTheirMarks() {
        QWidget page;
        UiTestKit::paintAsWindow(&page);
        auto* layout = new QVBoxLayout(&page);
        auto* three = new SetpViewController;
        auto* four = new SetpFViewController;
        layout->addWidget(three);
        layout->addSpacing(20);
        layout->addWidget(four);
        QVERIFY(UiTestKit::showSized(&page, QSize(560, 150)));
        for (const auto& [view, prefix, steps, shown] :
             {std::tuple<StepIndicatorView*, QString, int, int>{three, QStringLiteral("step"), 3, 2},
              std::tuple<StepIndicatorView*, QString, int, int>{four, QStringLiteral("oc_step"), 4, 3}}) {
            QCOMPARE(view->stepCount(), steps);
            checkStep(*view, 1, prefix);
            for (int n = steps; n >= 1; --n) {
                view->setSetpIn(n);
                checkStep(*view, n, prefix);
            }
            // Out of range: the indicator stays where it was.
            for (int n : {0, steps + 1, -1, 100}) {
                view->setSetpIn(n);
                checkStep(*view, 1, prefix);
            }
            view->setSetpIn(shown);
            // The pictures put mark i at the middle of share i of their width.
            const QRect picture = view->pictureView()->geometry();
            for (int i = 1; i <= steps; ++i) {
                const double mark = picture.left() + picture.width() * (2.0 * i - 1) / (2.0 * steps);
                QVERIFY(qAbs(view->label(i)->geometry().center().x() - mark) <= 2);
                QVERIFY(view->label(i)->geometry().top() >= picture.bottom());
            }
        }
        saveScreenshot(&page, QStringLiteral("ui"), QStringLiteral("step-indicators"));
    }

    void barGlidesAndStripesWhileWorkingAndButtonsFollowThePointer() {
        QWidget page;
        UiTestKit::paintAsWindow(&page);
        auto* bar = new StripedProgressBar(&page);
        bar->setGeometry(20, 20, 400, 10);
        auto* button = new ImageButton(QString(), &page);
        button->setText(QStringLiteral("Rename"));
        button->setGeometry(QRect(QPoint(20, 50), button->sizeHint()));
        QVERIFY(UiTestKit::showSized(&page, QSize(440, 100)));

        QVERIFY(bar->isStriping());
        bar->setDoubleValue(0.6);
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

        // A picture button's looks follow the pointer; the pointer left by earlier tests may rest
        // where the button opened, so it starts from outside.
        button->setImages(QStringLiteral("btn_tool"), QStringLiteral("btn_tool_hover"),
                          QStringLiteral("btn_tool_press"));
        hover(button, false);
        QCOMPARE(button->currentImage(), QStringLiteral("btn_tool"));
        hover(button);
        QCOMPARE(button->currentImage(), QStringLiteral("btn_tool_hover"));
        button->setDown(true);
        QCOMPARE(button->currentImage(), QStringLiteral("btn_tool_press"));
        button->setDown(false);
        hover(button, false);
        QCOMPARE(button->currentImage(), QStringLiteral("btn_tool"));
        button->setEnabled(false);
        QCOMPARE(button->currentImage(), QStringLiteral("btn_tool"));
    }

    void clicksAndFileDropsReachTheDelegateOtherDropsAreRefused() {
        // Only while the slot can select do clicks and drops carry its number to the delegate.
        SelectValueView slot(2);
        slot.setIsCanSelect(false);
        Recorder recorder;
        slot.setDelegate(&recorder);
        slot.setCloseShown(true);
        QVERIFY(UiTestKit::showSized(&slot, QSize(240, 210)));
        clickEverywhere(slot);
        const std::unique_ptr<QMimeData> data = fileDrag({QStringLiteral("/tmp/a")});
        QVERIFY(!dragAndDrop(slot.dragVie(), data.get(), QPoint(20, 20)));
        QVERIFY(recorder.calls.isEmpty());

        slot.setIsCanSelect(true);
        clickEverywhere(slot);
        // A press that leaves the slot before it is let go is no click.
        QTest::mousePress(slot.dragVie(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 190));
        QTest::mouseRelease(slot.dragVie(), Qt::LeftButton, Qt::NoModifier, QPoint(400, 400));
        QVERIFY(dragAndDrop(slot.dragVie(), data.get(), QPoint(20, 20)));
        QCOMPARE(recorder.calls,
                 QStringList({QStringLiteral("select 2 selectDiskBut"), QStringLiteral("select 2 "),
                              QStringLiteral("close 2"), QStringLiteral("drop")}));

        const QStringList paths = {QStringLiteral("/Users/ann/Desktop/b report.pdf"),
                                   QStringLiteral("/Users/ann/a"),
                                   QStringLiteral("/Volumes/Data/\u00e9t\u00e9.txt")};
        // Texts over the drop target leave drops and clicks to it; so does the picture in the middle.
        slot.setName(QStringLiteral("add some files"));
        const QPoint onName = slot.nameLabel()->geometry().center();
        QCOMPARE(slot.childAt(onName), slot.dragVie());
        QVERIFY(dragAndDrop(slot.dragVie(), fileDrag(paths).get(), onName));
        QVERIFY(
            dragAndDrop(slot.selectDiskBut(), fileDrag({QStringLiteral("/tmp/one")}).get(), QPoint(10, 10)));
        QCOMPARE(recorder.drops,
                 (QList<QStringList>{{QStringLiteral("/tmp/a")}, paths, {QStringLiteral("/tmp/one")}}));

        // Links to the web are no file names, nor is text: the drop is refused and logged.
        recorder.calls.clear();
        QMimeData web;
        web.setUrls({QUrl(QStringLiteral("https://example.org/a.zip"))});
        QTest::ignoreMessage(QtInfoMsg, "Error MyNSView performDragOperation");
        QVERIFY(!dragAndDrop(slot.dragVie(), &web, QPoint(5, 5)));
        QMimeData text;
        text.setText(QStringLiteral("/Users/ann/a"));
        QTest::ignoreMessage(QtInfoMsg, "Error MyNSView performDragOperation");
        QVERIFY(!dragAndDrop(slot.dragVie(), &text, QPoint(20, 20)));

        QMimeData emptyTiff;
        emptyTiff.setData(QStringLiteral("image/tiff"), QByteArray());
        QTest::ignoreMessage(QtInfoMsg, "Error: MyNSView performDragOperation zPasteboardData == nil");
        QVERIFY(!dragAndDrop(slot.dragVie(), &emptyTiff, QPoint(20, 20)));

        // A picture with data only redraws the slot: taken, but nothing reaches the screen.
        QMimeData picture;
        QImage image(8, 8, QImage::Format_ARGB32);
        image.fill(Qt::red);
        picture.setImageData(image);
        QVERIFY(dragAndDrop(slot.dragVie(), &picture, QPoint(20, 20)));
        QVERIFY(recorder.calls.isEmpty());

        // Dragging over the slot is welcomed as a copy whatever it carries.
        QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction | Qt::LinkAction, &text, Qt::LeftButton,
                              Qt::NoModifier);
        QCoreApplication::sendEvent(slot.dragVie(), &enter);
        QVERIFY(enter.isAccepted());
        QCOMPARE(enter.dropAction(), Qt::CopyAction);
        QVERIFY(slot.dragVie()->isDragHovering());
        saveScreenshot(&slot, QStringLiteral("ui"), QStringLiteral("slot-drag-over"));
        QDragLeaveEvent leave;
        QCoreApplication::sendEvent(slot.dragVie(), &leave);
        QVERIFY(!slot.dragVie()->isDragHovering());
        // A drag that cannot be copied is turned away at once.
        QDragEnterEvent moveOnly(QPoint(20, 20), Qt::MoveAction, &text, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(slot.dragVie(), &moveOnly);
        QVERIFY(!moveOnly.isAccepted());

        // A slot that takes no files refuses drops but still answers clicks.
        slot.setAcceptsFileDrops(false);
        QVERIFY(!dragAndDrop(slot.dragVie(), data.get(), QPoint(20, 20)));
        QTest::mouseClick(slot.selectDiskBut(), Qt::LeftButton);
        QCOMPARE(recorder.calls, QStringList{QStringLiteral("select 2 selectDiskBut")});
    }

    void showsWhatItIsGiven() {
        QWidget pair;
        UiTestKit::paintAsWindow(&pair);
        auto* layout = new QHBoxLayout(&pair);
        auto* source = new SelectValueView(1);
        auto* target = new SelectValueView(2);
        for (SelectValueView* s : {source, target}) {
            s->setFixedSize(240, 210);
            layout->addWidget(s);
        }
        source->setImage(QStringLiteral("ic_os_main_b"));
        source->setName(QStringLiteral("System Drive"));
        source->setSizeText(QStringLiteral("41.27 GB selected"));
        source->setCloseShown(true);
        source->setIsHaveD(true);
        target->showEmpty(QStringLiteral("Click here to select a destination drive."));
        pair.show();
        QVERIFY(QTest::qWaitForWindowExposed(&pair));

        // The picture shows on the slot's button; an empty slot offers to add.
        QCOMPARE(source->selectDiskBut()->currentImage(), QStringLiteral("ic_os_main_b"));
        QCOMPARE(target->selectDiskBut()->currentImage(), QStringLiteral("add"));
        QVERIFY(target->nameLabel()->text().isEmpty());
        QVERIFY(!target->closeDisk()->isVisible() && source->closeDisk()->isVisible());
        // The hint is wrapped inside the card rather than cut.
        QLabel* hint = target->nodeSelectLabel();
        QVERIFY(hint->geometry().right() < target->width());
        QVERIFY(hint->height() >= hint->heightForWidth(hint->width()));
        saveScreenshot(&pair, QStringLiteral("ui"), QStringLiteral("slots"));

        // A name and detail lines too long for the card keep both ends with "…" between them and
        // show whole in their tool tips; short ones show as they are, one label per line.
        const QString longName = QStringLiteral("LEXAR VOLUME WITH A REALLY LONG NAME 2024");
        target->setName(longName);
        const QStringList details = {
            QStringLiteral("Samsung PSSD T7 Media \u00b7 USB"),
            QStringLiteral("Backup \u2014 80.02 GB used, WINDOWS \u2014 22.22 KB used")};
        target->setDetailLines(details);
        QCOMPARE(target->nameLabel()->toolTip(), longName);
        const QString shownName = target->nameLabel()->text();
        QVERIFY2(shownName.startsWith(QStringLiteral("LEX")) && shownName.contains(QChar(0x2026)) &&
                     shownName.endsWith(QStringLiteral("2024")),
                 qPrintable(shownName));
        QCOMPARE(target->detailLabels().size(), 2);
        QCOMPARE(target->detailLabels().first()->fullText(), details.first());
        QCOMPARE(target->detailLabels().last()->toolTip(), details.last());
        QVERIFY(labelsCutWithoutEllipsis(&pair).isEmpty());
        saveScreenshot(&pair, QStringLiteral("ui"), QStringLiteral("slots-long-names"));
        target->setDetailLines({});
        QVERIFY(target->detailLabels().isEmpty());

        // What the picture check looks for: a plain label cut at its edge, or a wrapped one with a
        // word wider than itself; an elided one is fine.
        auto* cut = new QLabel(longName, &pair);
        cut->setObjectName(QStringLiteral("cut"));
        cut->setGeometry(0, 0, 60, 20);
        cut->show();
        QCOMPARE(labelsCutWithoutEllipsis(&pair), QStringList{QStringLiteral("cut/QLabel: ") + longName});
        cut->setWordWrap(true);
        cut->setText(QStringLiteral("a WORDTHATISFARTOOLONG"));
        QCOMPARE(labelsCutWithoutEllipsis(&pair).size(), 1);
        cut->setText(cut->fontMetrics().elidedText(longName, Qt::ElideMiddle, 60));
        QVERIFY(labelsCutWithoutEllipsis(&pair).isEmpty());
    }
};

TAVRILL_TEST(TestControls)

#include "tst_controls.moc"
