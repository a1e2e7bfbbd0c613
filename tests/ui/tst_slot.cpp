#include "LabelFit.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "UiTestKit.h"
#include "ui/DragView.h"
#include "ui/ElidedLabel.h"
#include "ui/ImageButton.h"
#include "ui/SelectValueView.h"
#include "ui/SelectValueViewDelegate.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QMimeData>
#include <QTest>
#include <QUrl>

namespace {

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

// Shows a slot of the usual size that reports to `recorder`; answers whether it came up.
bool showSlot(SelectValueView& slot, Recorder& recorder, bool closeShown = false) {
    slot.resize(240, 210);
    slot.setDelegate(&recorder);
    slot.setCloseShown(closeShown);
    slot.show();
    return QTest::qWaitForWindowExposed(&slot);
}

// Clicks the picture, the card below it and the close mark.
void clickEverywhere(SelectValueView& slot) {
    QTest::mouseClick(slot.selectDiskBut(), Qt::LeftButton);
    QTest::mouseClick(slot.dragVie(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 190));
    QTest::mouseClick(slot.closeDisk(), Qt::LeftButton);
}

} // namespace

class TestSlot : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void fileNamesAreDroppedAndOtherDropsRefused() {
        SelectValueView slot(1);
        Recorder recorder;
        QVERIFY(showSlot(slot, recorder));

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
        QCOMPARE(recorder.drops, (QList<QStringList>{paths, {QStringLiteral("/tmp/one")}}));

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
    }

    void clicksCarryTheSlotNumberOnlyWhileItCanSelect() {
        SelectValueView slot(2);
        slot.setIsCanSelect(false);
        Recorder recorder;
        QVERIFY(showSlot(slot, recorder, true));
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

        // A slot that takes no files refuses drops but still answers clicks.
        slot.setAcceptsFileDrops(false);
        QVERIFY(!dragAndDrop(slot.dragVie(), data.get(), QPoint(20, 20)));
        QTest::mouseClick(slot.selectDiskBut(), Qt::LeftButton);
        QCOMPARE(recorder.calls.size(), 5);
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
        QVERIFY(!target->closeDisk()->isVisible());
        QVERIFY(source->closeDisk()->isVisible());
        // The hint is wrapped inside the card rather than cut.
        QLabel* hint = target->nodeSelectLabel();
        QVERIFY(hint->geometry().right() < target->width());
        QVERIFY(hint->height() >= hint->heightForWidth(hint->width()));
        saveScreenshot(&pair, QStringLiteral("ui"), QStringLiteral("slots"));

        target->setErrorBackground(true);
        QVERIFY(target->hasErrorBackground());
        saveScreenshot(&pair, QStringLiteral("ui"), QStringLiteral("slots-error"));
        target->showEmpty(QStringLiteral("Click here to select a destination drive."));
        QVERIFY(!target->hasErrorBackground());

        // A name and detail lines too long for the card keep both ends with "…" between them and
        // show whole in their tool tips; short ones show as they are, one label per line.
        const QString longName = QStringLiteral("LEXAR VOLUME WITH A REALLY LONG NAME 2024");
        target->setName(longName);
        target->setDetailLines({QStringLiteral("Samsung PSSD T7 Media \u00b7 USB"),
                                QStringLiteral("Backup \u2014 80.02 GB used, WINDOWS \u2014 22.22 KB used")});
        QCOMPARE(target->nameLabel()->toolTip(), longName);
        QVERIFY(target->nameLabel()->text().startsWith(QStringLiteral("LEX")));
        QVERIFY(target->nameLabel()->text().contains(QChar(0x2026)));
        QVERIFY(target->nameLabel()->text().endsWith(QStringLiteral("2024")));
        QCOMPARE(target->detailLabels().size(), 2);
        QCOMPARE(target->detailLabels().first()->fullText(),
                 QStringLiteral("Samsung PSSD T7 Media \u00b7 USB"));
        QCOMPARE(target->detailLabels().last()->toolTip(),
                 QStringLiteral("Backup \u2014 80.02 GB used, WINDOWS \u2014 22.22 KB used"));
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

TAVRILL_TEST(TestSlot)

#include "tst_slot.moc"
