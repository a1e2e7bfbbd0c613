#include "volumes/SelectDiskViewController.h"

#include "core/MainThread.h"
#include "core/WorkerPool.h"
#include "ui/KitStyle.h"
#include "ui/Popover.h"
#include "volumes/DiskCallBack.h"
#include "volumes/PickerSpinnerView.h"
#include "volumes/VolumeEnumerator.h"

#include <QCoreApplication>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QThreadPool>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int kShowDelayMs = 200;
constexpr int kSpinnerSize = 32;
// Room for the list's scroll bar beside the 392-point content.
constexpr int kScrollBarWidth = 8;

const VolumeObjList& noVolumes() {
    static const VolumeObjList empty;
    return empty;
}

} // namespace

SelectDiskViewController::SelectDiskViewController(bool isOnlyShowEx, QWidget* parent)
    : QWidget(parent), m_isOnlyShowEx(isOnlyShowEx), m_loadP(new PickerSpinnerView(this)),
      m_listScrollView(new QScrollArea(this)) {
    setFixedSize(kListWidth + kScrollBarWidth, kMinimumListHeight);
    setAttribute(Qt::WA_TranslucentBackground);
    m_listScrollView->setGeometry(rect());
    m_listScrollView->setFrameShape(QFrame::NoFrame);
    m_listScrollView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_listScrollView->setWidgetResizable(false);
    m_listScrollView->setStyleSheet(
        QStringLiteral("QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; }") +
        KitStyle::thinScrollBar(kScrollBarWidth));
    m_listScrollView->hide();
    m_loadP->setGeometry((width() - kSpinnerSize) / 2, (height() - kSpinnerSize) / 2, kSpinnerSize,
                         kSpinnerSize);
    getDiskCallBack(this);
    awakeFromNib();
}

SelectDiskViewController::~SelectDiskViewController() = default;

const VolumeObjList& SelectDiskViewController::allVolumeArr() const {
    return m_scan ? m_scan->allVolumeArr() : noVolumes();
}

void SelectDiskViewController::awakeFromNib() {
    // A fresh record list per scan: a scan still running for an earlier call keeps its own
    // list and is ignored when it hands over.
    auto scan = std::make_shared<VolumeEnumerator>();
    m_scan = scan;
    const int generation = ++m_generation;
    m_loadP->show();
    m_loadP->raise();
    m_loadP->startAnimation();

    // The scan hands over when its list is complete and touches the list no more. The hand-over
    // does not wait for the main thread: a scan still running when the program or a test ends
    // its event loop must not hold up the thread pool's shutdown.
    QPointer<SelectDiskViewController> self(this);
    scan->setShowViewHandler([self, generation] {
        onMain([self, generation] {
            if (!self || self->m_generation != generation)
                return;
            QTimer::singleShot(kShowDelayMs, self, [self, generation] {
                if (self && self->m_generation == generation)
                    self->showView();
            });
        });
    });
    const bool wholeUsbDisks = m_isOnlyShowEx;
    workerPool()->start([scan, wholeUsbDisks] {
        if (wholeUsbDisks)
            scan->QvGetUSBThreadImp();
        else
            scan->doGetAllVolume_();
    });
}

QLabel* SelectDiskViewController::addHeading(const QString& text, int y) {
    auto* heading = new QLabel(text, m_listContent);
    heading->setFont(KitStyle::font(13, true));
    heading->setStyleSheet(QStringLiteral("color: %1; background: transparent; border: none;")
                               .arg(KitStyle::css(KitStyle::heading())));
    heading->setTextInteractionFlags(Qt::NoTextInteraction);
    heading->setGeometry(16, y, kListWidth - 32, kHeadingHeight);
    heading->setAlignment(Qt::AlignLeft | Qt::AlignBottom);
    m_headings << heading;
    return heading;
}

void SelectDiskViewController::showView() {
    m_loadP->hide();
    m_loadP->stopAnimation();

    VolumeObjList internal;
    VolumeObjList external;
    for (const VolumeObjRef& v : allVolumeArr())
        (v->bCanEject() ? external : internal).append(v);

    m_rows.clear();
    m_headings.clear();
    const int count = int(allVolumeArr().size());
    m_listContent = new QWidget;
    m_listContent->resize(kListWidth, std::max(kMinimumListHeight,
                                               DiskListViewController::kHeight * count + 2 * kHeadingHeight));
    int y = 0;
    auto addRows = [&](const VolumeObjList& records) {
        for (const VolumeObjRef& v : records) {
            auto* row = new DiskListViewController(m_listContent);
            row->setDiskListVCDelegate(this);
            row->setIsOnlyShowEx(m_isOnlyShowEx);
            row->setVolumeObj(v);
            row->refreshaView();
            row->move(0, y);
            y += DiskListViewController::kHeight;
            m_rows << row;
        }
    };
    if (!m_isOnlyShowEx) {
        addHeading(QStringLiteral("Internal Drives"), y);
        y += kHeadingHeight;
        addRows(internal);
    }
    if (!external.isEmpty()) {
        addHeading(QStringLiteral("External Drives"), y);
        y += kHeadingHeight;
        addRows(external);
    }
    m_listScrollView->setWidget(m_listContent); // deletes the previous list
    m_listScrollView->verticalScrollBar()->setValue(0);
    m_listScrollView->show();
    Q_EMIT listShown();
}

void SelectDiskViewController::doSelectDiskWithVolume(const VolumeObjRef& volume) {
    if (selectDiskVCDelegate)
        selectDiskVCDelegate->doSelectDiskWithVolume(volume);
}

Popover* SelectDiskViewController::presentUnder(QWidget* anchor, SelectDiskViewController* picker) {
    auto* popover = new Popover(anchor->window());
    popover->setContent(picker);
    // Deleted from the application's queue once the closing has fully returned, never from
    // inside the popover's own event handling.
    connect(popover, &Popover::closed, popover, [popover] {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [gone = QPointer<Popover>(popover)] { delete gone.data(); },
            Qt::QueuedConnection);
    });
    popover->showRelativeTo(anchor, 1);
    return popover;
}
