#include "filecopy/DiskCopyViewController.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/QvPublicUtilities.h"
#include "core/WorkerPool.h"
#include "platform/Machine.h"
#include "ui/AttachedWindow.h"
#include "ui/ErrorWindowController.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "ui/Popover.h"
#include "ui/SelectValueView.h"
#include "ui/SetpViewController.h"
#include "ui/StripedProgressBar.h"
#include "ui/TransferProgress.h"

#include <QDateTime>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>

namespace {

constexpr int kWidth = 659;
constexpr int kSlotWidth = 240;
constexpr int kSlotHeight = 210;
constexpr int kStopPollMs = 100;

const QString kLinkWords = QStringLiteral("the copy on the destination drive.");

QLabel* makeLabel(QWidget* parent, const QString& name, double size, bool bold, const QColor& colour) {
    auto* label = KitStyle::label(QString(), size, bold, colour, parent);
    label->setObjectName(name);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

bool anythingTicked(const FileNodeArrayRef& nodes) {
    if (!nodes)
        return false;
    const FileNodeList top = nodes->toList();
    return std::any_of(top.begin(), top.end(), [](const FileNodeRef& n) { return n->state() != 0; });
}

} // namespace

QString DiskCopyViewController::noSelectionMessage() {
    return QStringLiteral("No file/disk has been selected\u2026");
}

QString DiskCopyViewController::noSpaceMessage() {
    return QStringLiteral("Insufficient disk space on this destination drive, please select another drive.");
}

QString DiskCopyViewController::stoppedMessage() {
    return QStringLiteral("You have stopped the copying process.");
}

QString DiskCopyViewController::failedMessage() {
    return QStringLiteral("Some files copy failed!");
}

QString DiskCopyViewController::verifiedMessage(std::int64_t files, std::int64_t bytes) {
    return QStringLiteral("Copy completed! %1 %2 (%3) copied and verified. Your files are in ")
               .arg(QString::number(files), files == 1 ? QStringLiteral("file") : QStringLiteral("files"),
                    QvPublicUtilities::longlongConvertVolSpace(bytes)) +
           kLinkWords;
}

QString DiskCopyViewController::differsMessage(qsizetype files) {
    return QStringLiteral("The copy differs from the source in %1 %2.")
        .arg(files)
        .arg(files == 1 ? QStringLiteral("file") : QStringLiteral("files"));
}

QString DiskCopyViewController::verifyingText() {
    return QStringLiteral("Verifying\u2026");
}

QString DiskCopyViewController::copyingText() {
    return QStringLiteral("Copying data...");
}

QString DiskCopyViewController::dropName() {
    return QStringLiteral("add some files");
}

DiskCopyViewController::DiskCopyViewController(QWidget* parent)
    : QWidget(parent), m_controller(std::make_unique<Controller>()),
      m_checkStop(std::make_shared<std::atomic<bool>>(false)) {
    setObjectName(QStringLiteral("DiskCopyViewController"));
    setMinimumSize(kWidth, 500);
    m_controller->setADelegate(this);
    m_step = new SetpViewController(this);
    m_step->setObjectName(QStringLiteral("stepView"));
    const QSize stepSize = m_step->sizeHint();
    m_step->setGeometry((kWidth - stepSize.width()) / 2, 18, stepSize.width(), stepSize.height());
    buildSelectView();
    buildProgressView();
    buildEndView();
    m_stopWatch = new QTimer(this);
    m_stopWatch->setInterval(kStopPollMs);
    connect(m_stopWatch, &QTimer::timeout, this, &DiskCopyViewController::waitForStop);
}

DiskCopyViewController::~DiskCopyViewController() {
    m_checkStop->store(true);
    stopCopy(true);
    // Listings stop with their Controller; none calls back afterwards.
    m_controller.reset();
    if (m_listWindow) {
        m_listWindow->setDelegate(nullptr);
        delete m_listWindow.data();
    }
    delete m_pickerPopover.data();
    delete m_typePopover.data();
    if (m_makeSure)
        m_makeSure->setDelegate(nullptr);
}

void DiskCopyViewController::buildSelectView() {
    m_selectView = new QWidget(this);
    m_selectView->setObjectName(QStringLiteral("selectView"));
    m_selectView->setGeometry(0, 100, kWidth, 400);

    m_sourceView = new SelectValueView(1, m_selectView);
    m_sourceView->setObjectName(QStringLiteral("sourceSlot"));
    m_sourceView->setGeometry(58, 10, kSlotWidth, kSlotHeight);
    m_sourceView->setDelegate(this);
    m_sourceView->setChooseName(tr("Choose the source drive or files"));
    m_source = std::make_unique<SourceSlot>(m_sourceView);

    auto* arrow = makeLabel(m_selectView, QStringLiteral("arrow"), 28, false, KitStyle::textSecondary());
    arrow->setText(QStringLiteral("\u2192"));
    arrow->setGeometry((kWidth - 60) / 2, 10 + kSlotHeight / 2 - 24, 60, 48);

    m_destinationView = new SelectValueView(2, m_selectView);
    m_destinationView->setObjectName(QStringLiteral("destinationSlot"));
    m_destinationView->setGeometry(kWidth - 58 - kSlotWidth, 10, kSlotWidth, kSlotHeight);
    m_destinationView->setAcceptsFileDrops(false);
    m_destinationView->setDelegate(this);
    m_destinationView->setChooseName(tr("Choose the destination drive"));
    SourceSlot::clearDestination(m_destinationView);

    m_copyTypeButton = new QPushButton(m_selectView);
    m_copyTypeButton->setObjectName(QStringLiteral("copyTypeButton"));
    m_copyTypeButton->setCursor(Qt::PointingHandCursor);
    m_copyTypeButton->setAccessibleName(tr("Choose which files to copy"));
    m_copyTypeButton->setGeometry(58 + (kSlotWidth - 180) / 2, 10 + kSlotHeight + 14, 180, 30);
    m_copyTypeButton->setFont(KitStyle::font(13));
    m_copyTypeButton->setStyleSheet(
        QStringLiteral("QPushButton { color: %1; background: %2; border: 1px solid %3; border-radius: 5px; }"
                       " QPushButton:disabled { color: %4; }")
            .arg(KitStyle::css(KitStyle::textPrimary()), KitStyle::css(KitStyle::fieldBackground()),
                 KitStyle::css(KitStyle::panelBorder()), KitStyle::css(KitStyle::textLocked())));
    connect(m_copyTypeButton, &QPushButton::clicked, this, &DiskCopyViewController::showSelectAllVC);
    setCopyType(0);
    setCopyTypeShown(false, false);

    m_busyLabel = makeLabel(m_selectView, QStringLiteral("busyLabel"), 12, false, KitStyle::textSecondary());
    m_busyLabel->setGeometry(0, 290, kWidth, 20);

    m_cloneButton = new FlatButton(QStringLiteral("Copy Now"), FlatButton::Kind::Primary, m_selectView);
    m_cloneButton->setObjectName(QStringLiteral("cloneButton"));
    m_cloneButton->setGeometry((kWidth - 160) / 2, 320, 160, 38);
    m_cloneButton->setEnabled(false);
    connect(m_cloneButton, &QPushButton::clicked, this, &DiskCopyViewController::cloneButtonAction);
}

void DiskCopyViewController::buildProgressView() {
    m_progressView = new QWidget(this);
    m_progressView->setObjectName(QStringLiteral("progressView"));
    m_progressView->setGeometry(0, 100, kWidth, 400);
    auto* picture = new ImageView(QStringLiteral("copy"), m_progressView);
    picture->setGeometry((kWidth - 160) / 2, 20, 160, 110);
    m_pathLabel =
        makeLabel(m_progressView, QStringLiteral("pathLabel"), 13, false, KitStyle::textSecondary());
    m_pathLabel->setGeometry(40, 150, kWidth - 80, 22);
    m_bar = new StripedProgressBar(m_progressView);
    m_bar->setObjectName(QStringLiteral("progressBar"));
    m_bar->setGeometry(100, 186, kWidth - 200, 12);
    m_progressLine =
        makeLabel(m_progressView, QStringLiteral("progressLine"), 12, false, KitStyle::textSecondary());
    m_progressLine->setGeometry(40, 204, kWidth - 80, 20);
    m_transfer = new TransferProgress(m_bar, m_progressLine, this);
    m_cancelButton = new FlatButton(QStringLiteral("Cancel"), FlatButton::Kind::Secondary, m_progressView);
    m_cancelButton->setObjectName(QStringLiteral("cancelButton"));
    m_cancelButton->setGeometry((kWidth - 120) / 2, 240, 120, 34);
    connect(m_cancelButton, &QPushButton::clicked, this, &DiskCopyViewController::cancelButtonAction);
    m_progressView->hide();
}

void DiskCopyViewController::buildEndView() {
    m_endView = new QWidget(this);
    m_endView->setObjectName(QStringLiteral("endView"));
    m_endView->setGeometry(0, 100, kWidth, 400);
    m_endIcon = new ImageView(QStringLiteral("copy"), m_endView);
    m_endIcon->setGeometry((kWidth - 160) / 2, 20, 160, 110);
    m_endLabel = makeLabel(m_endView, QStringLiteral("endLabel"), 15, true, KitStyle::textPrimary());
    m_endLabel->setGeometry(60, 140, kWidth - 120, 90);
    m_endLabel->setTextFormat(Qt::RichText);
    m_endLabel->setTextInteractionFlags(Qt::LinksAccessibleByMouse);
    connect(m_endLabel, &QLabel::linkActivated, this, [this] { openPathButtonAction(); });
    m_endButton = new FlatButton(QStringLiteral("Done"), FlatButton::Kind::Primary, m_endView);
    m_endButton->setObjectName(QStringLiteral("endButton"));
    m_endButton->setGeometry((kWidth - 120) / 2, 240, 120, 34);
    connect(m_endButton, &QPushButton::clicked, this, [this] {
        if (m_endIcon->imageName() == QLatin1String("copy"))
            succCancelButtonAction();
        else
            failCancelButtonAction();
    });
    m_resumeButton = new FlatButton(QStringLiteral("Resume"), FlatButton::Kind::Primary, m_endView);
    m_resumeButton->setObjectName(QStringLiteral("resumeButton"));
    connect(m_resumeButton, &QPushButton::clicked, this, &DiskCopyViewController::resumeButtonAction);
    m_resumeButton->hide();
    m_differingList = new QListWidget(m_endView);
    m_differingList->setObjectName(QStringLiteral("differingList"));
    m_differingList->setFont(KitStyle::font(11));
    m_differingList->setSelectionMode(QAbstractItemView::NoSelection);
    m_differingList->setFocusPolicy(Qt::NoFocus);
    m_differingList->setStyleSheet(
        QStringLiteral("QListWidget { color: %1; background: %2; border: 1px solid %3; border-radius: 5px; }")
            .arg(KitStyle::css(KitStyle::textPrimary()), KitStyle::css(KitStyle::fieldBackground()),
                 KitStyle::css(KitStyle::panelBorder())));
    m_differingList->setGeometry(90, 234, kWidth - 180, 96);
    m_differingList->hide();
    m_endView->hide();
}

SelectDiskViewController* DiskCopyViewController::picker() const {
    return m_pickerPopover ? qobject_cast<SelectDiskViewController*>(m_pickerPopover->content()) : nullptr;
}

SelectAllFilePopVC* DiskCopyViewController::copyTypePopup() const {
    return m_typePopover ? qobject_cast<SelectAllFilePopVC*>(m_typePopover->content()) : nullptr;
}

// The slots.

void DiskCopyViewController::selectDiskButton(int slot, QObject*) {
    if (m_pickerPopover && m_pickerPopover->isShown()) {
        m_pickerPopover->closePopover();
        return;
    }
    m_openPopType = slot;
    auto* chooser = new SelectDiskViewController(false);
    chooser->setSelectDiskVCDelegate(this);
    m_pickerPopover =
        SelectDiskViewController::presentUnder(slot == 1 ? m_sourceView : m_destinationView, chooser);
}

void DiskCopyViewController::doSelectDiskWithVolume(const VolumeObjRef& volume) {
    if (m_pickerPopover)
        m_pickerPopover->closePopover();
    if (!volume)
        return;
    dropPendingStart();
    if (m_openPopType == 2) {
        if (SourceSlot::isSameVolume(m_source->volume(), volume)) {
            clearDestination();
            if (m_source->usedSize() >= 0)
                m_copyTypeButton->setEnabled(true);
            showError(SourceSlot::sameVolumeMessage());
            return;
        }
        m_toVolume = volume;
        m_freeSize = volume->volumeFreeSizeNum();
        SourceSlot::showDestination(m_destinationView, *volume);
        changeSelectCopyType();
        return;
    }
    m_copyArr.reset();
    setCopyType(0);
    if (SourceSlot::isSameVolume(m_toVolume, volume)) {
        clearSource();
        showError(SourceSlot::sameVolumeMessage());
        return;
    }
    m_source->showVolume(volume);
    setCopyTypeShown(true, true);
    changeSelectCopyType();
}

void DiskCopyViewController::closeDiskValue(int slot) {
    if (slot == 1)
        clearSource();
    else
        clearDestination();
}

void DiskCopyViewController::clearSource() {
    dropPendingStart();
    m_source->clear();
    m_copyArr.reset();
    setCopyType(0);
    setCopyTypeShown(false, false);
    m_cloneButton->setEnabled(false);
}

void DiskCopyViewController::clearDestination() {
    dropPendingStart();
    m_toVolume.reset();
    m_freeSize = -1;
    SourceSlot::clearDestination(m_destinationView);
    m_cloneButton->setEnabled(false);
}

void DiskCopyViewController::viewDragAction(const QStringList& paths) {
    if (SourceSlot::nodesForDroppedPaths(paths).isEmpty())
        return;
    dropPendingStart();
    m_source->showDrop(paths, dropName());
    m_copyArr.reset();
    setCopyType(0);
    setCopyTypeShown(true, true);
    changeCloneButtonActon();
}

// The copy type.

void DiskCopyViewController::setCopyType(int type) {
    m_copyType = type;
    m_copyTypeButton->setText(SelectAllFilePopVC::typeText(type) + QStringLiteral("  \u25BE"));
}

void DiskCopyViewController::setCopyTypeShown(bool shown, bool enabled) {
    m_copyTypeButton->setVisible(shown);
    m_copyTypeButton->setEnabled(enabled);
}

void DiskCopyViewController::showSelectAllVC() {
    if (m_isPopSortWin)
        return;
    m_isPopSortWin = true;
    auto* popup = new SelectAllFilePopVC;
    popup->setDelegate(this);
    auto* popover = new Popover(window());
    popover->setContent(popup);
    connect(popover, &Popover::closed, this, [this, popover] {
        m_isPopSortWin = false;
        popover->deleteLater();
    });
    m_typePopover = popover;
    popover->showRelativeTo(m_copyTypeButton, 1);
}

void DiskCopyViewController::selectFormatbyType(int type) {
    if (m_typePopover)
        m_typePopover->closePopover();
    dropPendingStart();
    setCopyType(type);
    if (type == 1) {
        doShowSearchView();
        return;
    }
    // Everything again: the whole volume, or every dropped item.
    m_source->takeAll();
    m_copyArr.reset();
    changeSelectCopyType();
}

// The space check.

void DiskCopyViewController::changeSelectCopyType() {
    const std::int64_t used = m_source->usedSize();
    if (used < 0 || m_freeSize < 0) {
        changeCloneButtonActon();
        return;
    }
    const std::int64_t need = m_source->selectFilesSize() >= 0 ? m_source->selectFilesSize() : used;
    if (need <= m_freeSize) {
        m_copyTypeButton->setEnabled(true);
        showFits(true);
        return;
    }
    // Too much: the user can still narrow the selection through "Copy Some Files".
    showFits(false);
    showError(noSpaceMessage());
}

void DiskCopyViewController::changeCloneButtonActon() {
    const bool dropWithDestination = m_source->isDragValue() && m_freeSize >= 0;
    if (!dropWithDestination && (m_source->usedSize() < 0 || m_freeSize < 0))
        return;
    showFits(m_source->selectFilesSize() <= m_freeSize);
}

void DiskCopyViewController::showFits(bool fits) {
    m_cloneButton->setEnabled(fits);
    m_destinationView->setErrorBackground(!fits);
    if (!fits) {
        setCopyType(1);
        m_destinationView->setImage(QStringLiteral("add"));
    } else if (m_toVolume) {
        m_destinationView->setImage(SourceSlot::volumeImage(*m_toVolume));
    }
}

// Choosing some files.

void DiskCopyViewController::doShowSearchView() {
    if (m_listWindow || (!m_source->volume() && !m_source->nodes()))
        return;
    auto* list = new DiskListWC(window());
    list->setAttribute(Qt::WA_DeleteOnClose);
    list->setDelegate(this);
    m_listWindow = list;
    // Closed without "Done": a whole source that was not narrowed stays whole.
    connect(list, &QDialog::rejected, this, [this] {
        if (m_source->selectFilesSize() < 0 && !m_destinationView->hasErrorBackground())
            setCopyType(0);
    });
    list->open();
    if (const FileNodeArrayRef earlier = m_source->nodes()) {
        const QString path =
            m_source->volume() ? m_source->volume()->volumePath() : QFileInfo(earlier->at(0)->path()).path();
        list->setArrForListWithArr(earlier, path);
    } else {
        list->showDetailWithPath(m_source->volume()->volumeMountPoint());
    }
}

void DiskCopyViewController::closeWindowWithSelect(const FileNodeArrayRef& select, qint64 selectSize) {
    dropPendingStart();
    QvConsoleLog("---%d items", select ? int(select->count()) : 0);
    m_source->showSelection(select, selectSize);
    m_copyArr.reset();
    setCopyTypeShown(true, true);
    changeCloneButtonActon();
}

// Starting.

void DiskCopyViewController::cloneButtonAction() {
    m_copyArr = m_source->nodes();
    m_cloneButton->setEnabled(false);
    m_starting = true;
    if (m_copyArr) {
        doCopyAction();
        return;
    }
    if (!m_source->volume())
        return;
    // The whole volume: its top level is listed first; every entry is ticked.
    m_copyArr = makeFileNodeArray();
    setBusy(QStringLiteral("Listing the source drive\u2026"));
    m_controller->eumeAllRootFileNodeWithRootArr(m_copyArr, m_source->volume()->volumePath(), true, true);
}

void DiskCopyViewController::copyFileScanFiles() {
    onMain([self = QPointer<DiskCopyViewController>(this)] {
        if (self && self->m_starting)
            self->doCopyAction();
    });
}

void DiskCopyViewController::doCopyAction() {
    setBusy(QString());
    if (!anythingTicked(m_copyArr)) {
        m_starting = false;
        m_cloneButton->setEnabled(true);
        showError(noSelectionMessage());
        return;
    }
    startDestinationCheck();
}

void DiskCopyViewController::startDestinationCheck() {
    if (!m_toVolume)
        return;
    setBusy(QStringLiteral("Checking what the destination drive can store\u2026"));
    m_checkStop->store(true);
    m_checkStop = std::make_shared<std::atomic<bool>>(false);
    const FileNodeList top = m_copyArr->toList();
    const DestinationCheck::Rules rules = DestinationCheck::rulesForVolume(m_toVolume->volumePath());
    const bool sourceFoldsCase = DestinationCheck::foldsCase(top.first()->path());
    QPointer<DiskCopyViewController> self(this);
    std::shared_ptr<std::atomic<bool>> stop = m_checkStop;
    workerPool()->start([self, top, rules, sourceFoldsCase, stop] {
        const QList<DestinationCheck::Item> items =
            DestinationCheck::check(top, rules, sourceFoldsCase, stop.get());
        if (stop->load())
            return;
        onMain([self, items, stop] {
            if (!self || stop->load() || !self->m_starting)
                return;
            self->m_starting = false;
            self->m_leftOut = items;
            self->setBusy(QString());
            self->showMakeSure();
        });
    });
}

void DiskCopyViewController::showMakeSure() {
    QStringList lines;
    for (const DestinationCheck::Item& item : m_leftOut)
        lines << item.text();
    auto* panel = new CopyMakeSureWC(m_toVolume->volumeName(), lines);
    panel->setDelegate(this);
    m_makeSure = panel;
    auto* host = new AttachedWindow(panel, AttachedWindow::middleTop(window()), window());
    // "Cancel" leaves the screen ready for another try.
    connect(host, &AttachedWindow::closed, this, [this] {
        if (!m_copying)
            m_cloneButton->setEnabled(m_toVolume != nullptr);
    });
}

void DiskCopyViewController::beginToCopyFiles() {
    QString error;
    const QString folder = DoCopyFiles::createCopyFolderWithVolumePath(m_toVolume->volumePath(),
                                                                       QDateTime::currentDateTime(), &error);
    if (folder.isEmpty()) {
        showError(QStringLiteral(
                      "The folder for the copy cannot be made on \u201c%1\u201d, so nothing was copied. (%2)")
                      .arg(m_toVolume->volumeName(), error));
        return;
    }
    m_selectView->hide();
    showRunning();
    if (m_doCopy)
        m_doCopy->setDelegate(nullptr);
    m_doCopy = DoCopyFiles::create();
    m_doCopy->setDelegate(this);
    m_doCopy->setSkippedPaths(DestinationCheck::pathsOf(m_leftOut));
    QStringList leftOutTexts;
    for (const DestinationCheck::Item& item : m_leftOut)
        leftOutTexts << item.text();
    m_doCopy->setLeftOutTexts(leftOutTexts);
    m_doCopy->setVerify(true);
    DoCopyFiles::VolumeId source;
    if (const VolumeObjRef from = m_source->volume())
        source = {from->volumeName(), from->diskUUID(), from->volumeMountPoint()};
    m_doCopy->setVolumes(source,
                         {m_toVolume->volumeName(), m_toVolume->diskUUID(), m_toVolume->volumeMountPoint()});
    m_openUrl = folder;
    followRun();
    m_doCopy->doCopyFilesWithArr(m_copyArr->toList(), folder);
}

// The run.

void DiskCopyViewController::topCopyFilePath(const QString&) {
    if (m_copying && m_cancelButton->isEnabled())
        m_pathLabel->setText(copyingText());
}

void DiskCopyViewController::topCopyProgress(float percent) {
    if (!m_copying)
        return;
    // Items are no measure of bytes: once the selection is measured the bar follows the bytes.
    if (!m_transfer->drawsBytes())
        m_bar->setDoubleValue(percent / 100.0);
    if (percent >= 100) {
        m_bar->setDoubleValue(1.0);
        showEnd(true, verifiedMessage(m_doCopy->filesInReceipt(), m_doCopy->bytesInReceipt()));
    }
}

void DiskCopyViewController::topCopyBytes(std::int64_t bytesCopied, std::int64_t bytesToCopy) {
    if (!m_copying)
        return;
    if (m_doCopy && m_doCopy->isVerifying())
        m_transfer->report(m_doCopy->bytesVerified(), m_doCopy->bytesToVerify());
    else
        m_transfer->report(bytesCopied, bytesToCopy);
}

void DiskCopyViewController::topVerifyStarted() {
    if (!m_copying)
        return;
    m_pathLabel->setText(verifyingText());
    m_bar->setAnimated(false);
    m_bar->setDoubleValue(0);
    m_bar->setAnimated(true);
    // A stage of its own: its rate and time left are measured afresh.
    followRun();
}

void DiskCopyViewController::showRunning() {
    m_endView->hide();
    m_progressView->show();
    m_pathLabel->setText(QStringLiteral(" "));
    m_bar->setAnimated(false);
    m_bar->setDoubleValue(0);
    m_bar->setAnimated(true);
    m_cancelButton->setEnabled(true);
    m_step->setSetpIn(2);
    m_copying = true;
    canChangeTab(false);
}

void DiskCopyViewController::followRun() {
    m_transfer->start([run = m_doCopy] {
        return run->isVerifying() ? std::make_pair(run->bytesVerified(), run->bytesToVerify())
                                  : std::make_pair(run->bytesCopied(), run->bytesToCopy());
    });
}

void DiskCopyViewController::copyFileError() {
    if (!m_copying)
        return;
    const QString problem = m_doCopy ? m_doCopy->resumeProblem() : QString();
    const QStringList differing = m_doCopy ? m_doCopy->differingFiles() : QStringList();
    if (!differing.isEmpty())
        showEnd(false, differsMessage(differing.size()));
    else
        showEnd(false, problem.isEmpty() ? failedMessage() : problem);
}

void DiskCopyViewController::resumeButtonAction() {
    if (m_copying || !m_doCopy)
        return;
    // The run that sent its end may still be winding down.
    m_doCopy->waitForRuns(5000);
    if (!m_doCopy->canResume())
        return;
    showRunning();
    m_doCopy->setDelegate(this);
    followRun();
    m_doCopy->resume();
}

void DiskCopyViewController::cancelButtonAction() {
    if (!m_copying || !m_doCopy)
        return;
    // The item being copied is finished; the stopped view shows once the run has ended.
    m_doCopy->setIsCancel(true);
    m_cancelButton->setEnabled(false);
    m_pathLabel->setText(QStringLiteral("Stopping after the current file\u2026"));
    m_stopWatch->start();
}

void DiskCopyViewController::waitForStop() {
    if (!m_copying || !m_doCopy) {
        m_stopWatch->stop();
        return;
    }
    if (m_doCopy->activeRuns() == 0)
        showEnd(false, stoppedMessage());
}

void DiskCopyViewController::showEnd(bool success, const QString& text) {
    m_copying = false;
    m_stopWatch->stop();
    m_transfer->stop();
    m_progressView->hide();
    m_step->setSetpIn(3);
    if (m_doCopy && !m_doCopy->copyPath().isEmpty())
        m_openUrl = m_doCopy->copyPath(); // a resume may have found the drive under another name
    m_endIcon->setImageName(success ? QStringLiteral("copy") : QStringLiteral("ic_warning"));
    const int iconSide = success ? 160 : 64;
    m_endIcon->setGeometry((kWidth - iconSide) / 2, success ? 20 : 50, iconSide, success ? 110 : 64);
    QString shown = text.toHtmlEscaped();
    if (!success && QFileInfo::exists(Machine::hostPath(m_openUrl))) {
        const bool stopped = text == stoppedMessage();
        if (stopped && m_doCopy && m_doCopy->filesCopied() == 0)
            shown += QStringLiteral("<br><span style=\"font-weight: normal; font-size: 12pt;\">Nothing had "
                                    "been copied when you stopped.</span>");
        else
            shown += QStringLiteral("<br><span style=\"font-weight: normal; font-size: 12pt;\">") +
                     (stopped ? keptText() : QStringLiteral("What was copied stays in")) + QLatin1Char(' ') +
                     kLinkWords + QStringLiteral("</span>");
    }
    if (text.size() >= 11 && shown.contains(kLinkWords))
        shown.replace(
            kLinkWords,
            QStringLiteral("<a href=\"open\" style=\"color: rgb(2, 125, 255);\">%1</a>").arg(kLinkWords));
    m_endLabel->setText(shown);
    // The files that differ: the first 20, then how many in all.
    const QStringList differing = success || !m_doCopy ? QStringList() : m_doCopy->differingFiles();
    m_differingList->clear();
    m_differingList->addItems(differing.mid(0, 20));
    if (differing.size() > 20)
        m_differingList->addItem(QStringLiteral("\u2026 and %1 more (%2 in all)")
                                     .arg(differing.size() - 20)
                                     .arg(differing.size()));
    m_differingList->setVisible(!differing.isEmpty());
    const int buttonsY = differing.isEmpty() ? 246 : 340;
    const bool resumable = !success && m_doCopy && !m_doCopy->copyPath().isEmpty() && !m_doCopy->isAborted();
    m_resumeButton->setVisible(resumable);
    if (resumable) {
        m_resumeButton->setGeometry(kWidth / 2 - 130, buttonsY, 120, 34);
        m_endButton->setGeometry(kWidth / 2 + 10, buttonsY, 120, 34);
    } else {
        m_endButton->setGeometry((kWidth - 120) / 2, buttonsY, 120, 34);
    }
    m_endView->show();
    canChangeTab(true);
    Q_EMIT copyEnded();
}

QString DiskCopyViewController::keptText() const {
    const std::int64_t files = m_doCopy ? m_doCopy->filesCopied() : 0;
    const std::int64_t bytes = m_doCopy ? m_doCopy->bytesCopied() : 0;
    return QStringLiteral("%1 %2 (%3) copied before you stopped %4 in")
        .arg(QString::number(files), files == 1 ? QStringLiteral("item") : QStringLiteral("items"),
             QvPublicUtilities::longlongConvertVolSpace(bytes),
             files == 1 ? QStringLiteral("is") : QStringLiteral("are"));
}

void DiskCopyViewController::openPathButtonAction() {
    QvConsoleLog("2---%s", qUtf8Printable(m_openUrl));
    if (!m_openUrl.isEmpty())
        QDesktopServices::openUrl(QUrl::fromLocalFile(Machine::hostPath(m_openUrl)));
}

void DiskCopyViewController::failCancelButtonAction() {
    backHomeView();
}

void DiskCopyViewController::succCancelButtonAction() {
    backHomeView();
}

void DiskCopyViewController::backHomeView() {
    m_bar->setAnimated(false);
    m_bar->setDoubleValue(0);
    m_bar->setAnimated(true);
    m_pathLabel->setText(QString());
    m_transfer->clear();
    m_progressView->hide();
    m_endView->hide();
    m_resumeButton->hide();
    m_differingList->hide();
    clearSource();
    clearDestination();
    m_leftOut.clear();
    m_step->setSetpIn(1);
    m_selectView->show();
}

void DiskCopyViewController::canChangeTab(bool allowed) {
    tellTabHost(allowed);
}

void DiskCopyViewController::stopForQuit(std::function<void()> stopped) {
    if (!m_copying) {
        stopped();
        return;
    }
    auto* once = new QObject(this);
    connect(this, &DiskCopyViewController::copyEnded, once, [once, stopped = std::move(stopped)] {
        once->deleteLater();
        stopped();
    });
    if (m_cancelButton->isEnabled())
        cancelButtonAction();
}

void DiskCopyViewController::applicationWillTerminate() {
    m_checkStop->store(true);
    stopCopy(true);
}

void DiskCopyViewController::stopCopy(bool forGood) {
    if (!m_doCopy)
        return;
    m_doCopy->setDelegate(nullptr);
    if (forGood) {
        m_doCopy->abort();
        m_doCopy->waitForRuns(5000);
    }
}

void DiskCopyViewController::dropPendingStart() {
    if (m_makeSure) {
        // "Copy Now?" was asked about the selection and the destination as they were: it goes
        // with them, and what changed them decides again whether the copy can start.
        if (QWidget* host = m_makeSure->parentWidget())
            disconnect(host, nullptr, this, nullptr);
        m_makeSure->closeWindow();
    }
    if (!m_starting)
        return;
    m_starting = false;
    m_checkStop->store(true);
    setBusy(QString());
}

void DiskCopyViewController::showError(const QString& text) {
    ErrorWindowController::showErrorOn(window(), text);
}

void DiskCopyViewController::setBusy(const QString& text) {
    m_busyLabel->setText(text);
}
