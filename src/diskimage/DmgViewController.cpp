#include "diskimage/DmgViewController.h"

#include "core/MainThread.h"
#include "core/QvLog.h"
#include "core/QvPublicUtilities.h"
#include "core/Resources.h"
#include "core/WorkerPool.h"
#include "diskimage/DMGMakeSureWC.h"
#include "diskimage/DiskImageTexts.h"
#include "filecopy/DoCopyFiles.h"
#include "filecopy/GetFilesSize.h"
#include "filecopy/SourceSlot.h"
#include "platform/DiskArbitration.h"
#include "platform/Machine.h"
#include "ui/ErrorWindowController.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "ui/Popover.h"
#include "ui/SelectValueView.h"
#include "ui/SetpViewController.h"
#include "ui/StripedProgressBar.h"
#include "ui/TransferProgress.h"

#include <QComboBox>
#include <QDateTime>
#include <QDesktopServices>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QStackedWidget>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

#include <utility>

namespace {

constexpr int kStartDelayMs = 300;

QLabel* makeLabel(const QString& text, double pointSize, bool bold, const QColor& colour, QWidget* parent) {
    auto* label = KitStyle::label(text, pointSize, bold, colour, parent);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

// An end view: a picture over the text in the middle, the one button at the bottom.
void layOutEndVariant(QWidget* view, const QString& picture, int pictureSize, QLabel* text,
                      QPushButton* button) {
    auto* icon = new ImageView(picture, view);
    icon->setFixedSize(pictureSize, pictureSize);
    auto* column = new QVBoxLayout(view);
    column->setContentsMargins(0, 0, 0, 0);
    column->addStretch(1);
    column->addWidget(icon, 0, Qt::AlignHCenter);
    column->addSpacing(12);
    column->addWidget(text);
    column->addStretch(1);
    column->addWidget(button, 0, Qt::AlignHCenter);
}

QString joinPath(const QString& folder, const QString& name) {
    return folder.endsWith(QLatin1Char('/')) ? folder + name : folder + QLatin1Char('/') + name;
}

} // namespace

DmgViewController::DmgViewController(QWidget* parent)
    : QWidget(parent), m_makeDmg(new MakeDmg(this)), m_controller(std::make_unique<Controller>()),
      m_aTimer(new QTimer(this)) {
    m_makeDmg->setMakeDmgDelegate(this);
    m_controller->setADelegate(this);
    m_aTimer->setSingleShot(true);
    m_aTimer->setInterval(kStartDelayMs);
    connect(m_aTimer, &QTimer::timeout, this, [this] {
        if (m_isMakeZip)
            doMakeZipWithFileArr();
        else
            doMakeDMGWithFileArr();
    });

    m_step = new SetpViewController(this);
    m_pages = new QStackedWidget(this);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(30, 24, 30, 24);
    column->setSpacing(16);
    column->addWidget(m_step, 0, Qt::AlignHCenter);
    column->addWidget(m_pages, 1);
    buildSelectView();
    buildProgressView();
    buildEndView();
    m_pages->setCurrentWidget(m_selectView);
}

DmgViewController::~DmgViewController() {
    if (m_listWindow)
        m_listWindow->setDelegate(nullptr);
    m_makeDmg->setMakeDmgDelegate(nullptr);
    m_controller->setADelegate(nullptr);
    m_controller->stopScan();
}

void DmgViewController::buildSelectView() {
    m_selectView = new QWidget(m_pages);
    m_fromSlot = new SelectValueView(1, m_selectView);
    m_toSlot = new SelectValueView(2, m_selectView);
    m_toSlot->setAcceptsFileDrops(false);
    for (SelectValueView* slot : {m_fromSlot, m_toSlot}) {
        slot->setDelegate(this);
        slot->setFixedSize(250, 200);
    }
    m_fromSlot->setChooseName(tr("Choose the drive or files to pack"));
    m_toSlot->setChooseName(tr("Choose the destination drive"));
    m_fromSlot->showEmpty(SourceSlot::sourceHint());
    SourceSlot::clearDestination(m_toSlot);
    auto* arrow = makeLabel(QStringLiteral("\u2192"), 28, false, KitStyle::textSecondary(), m_selectView);

    m_copyType = new QComboBox(m_selectView);
    m_copyType->addItems({DiskImageTexts::copyAllFiles(), DiskImageTexts::copySomeFiles()});
    m_copyType->setFixedWidth(250);
    m_copyType->setAccessibleName(tr("Choose whether to pack all files or some"));
    m_copyType->setStyleSheet(
        QStringLiteral(
            "QComboBox { color: %1; background: %2; border: 1px solid %3; border-radius: 6px;"
            " padding: 4px 10px; }"
            "QComboBox::drop-down { border: none; width: 22px; }"
            "QComboBox::down-arrow { image: url(%6); width: 12px; height: 12px; }"
            "QComboBox QAbstractItemView { color: %1; background: %4; selection-background-color: %5; }")
            .arg(KitStyle::css(KitStyle::textPrimary()), KitStyle::css(KitStyle::fieldBackground()),
                 KitStyle::css(KitStyle::panelBorder()), KitStyle::css(KitStyle::panelBackground()),
                 KitStyle::css(KitStyle::accent()),
                 resourcePath(QStringLiteral("images/ic_arrow_down"), QStringLiteral("svg"))));
    m_copyType->hide();
    connect(m_copyType, &QComboBox::activated, this, [this](int index) {
        dropQuestion();
        if (index == 1) {
            doShowSearchView();
            return;
        }
        // Back to the whole source: a narrower choice made before no longer applies.
        if (!m_isDragValue && m_fromeVolume) {
            m_filesArr.reset();
            m_selectFilesSize = -1;
            showSourceVolume();
        }
        changeSelectCopyType();
    });

    m_dmgButton = new QRadioButton(DiskImageTexts::makeDmg(), m_selectView);
    m_zipButton = new QRadioButton(DiskImageTexts::makeZip(), m_selectView);
    m_dmgButton->setChecked(true);
    for (QRadioButton* b : {m_dmgButton, m_zipButton})
        b->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textPrimary())));
    connect(m_dmgButton, &QRadioButton::clicked, this, &DmgViewController::makeDmgButAction);
    connect(m_zipButton, &QRadioButton::clicked, this, &DmgViewController::makeZipButAction);

    m_createButton = new FlatButton(DiskImageTexts::createNow(), FlatButton::Kind::Primary, m_selectView);
    m_createButton->setEnabled(false);
    connect(m_createButton, &QPushButton::clicked, this, &DmgViewController::cloneButtonAction);

    // The copy type sits under the source, the kind of result under the destination.
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(18);
    grid->setVerticalSpacing(16);
    grid->addWidget(m_fromSlot, 0, 0);
    grid->addWidget(arrow, 0, 1);
    grid->addWidget(m_toSlot, 0, 2);
    grid->addWidget(m_copyType, 1, 0);
    auto* kinds = new QHBoxLayout;
    kinds->setContentsMargins(6, 0, 0, 0);
    kinds->addWidget(m_dmgButton);
    kinds->addWidget(m_zipButton);
    kinds->addStretch(1);
    grid->addLayout(kinds, 1, 2);
    auto* centred = new QHBoxLayout;
    centred->addStretch(1);
    centred->addLayout(grid);
    centred->addStretch(1);
    auto* column = new QVBoxLayout(m_selectView);
    column->setContentsMargins(0, 0, 0, 0);
    column->addLayout(centred);
    column->addStretch(1);
    column->addWidget(m_createButton, 0, Qt::AlignHCenter);
    m_pages->addWidget(m_selectView);
}

void DmgViewController::buildProgressView() {
    m_progressView = new QWidget(m_pages);
    auto* title = makeLabel(DiskImageTexts::title(), 18, true, KitStyle::textPrimary(), m_progressView);
    m_pathLabel = makeLabel(QStringLiteral(" "), 12, false, KitStyle::textSecondary(), m_progressView);
    m_pathLabel->setTextFormat(Qt::PlainText);
    m_pathLabel->setWordWrap(false);
    m_pathLabel->setMinimumWidth(1);
    m_progressBar = new StripedProgressBar(m_progressView);
    m_progressBar->setFixedHeight(14);
    m_progressLine = makeLabel(QString(), 12, false, KitStyle::textSecondary(), m_progressView);
    m_progressLine->setObjectName(QStringLiteral("progressLine"));
    m_transfer = new TransferProgress(m_progressBar, m_progressLine, this);
    m_cancelButton = new FlatButton(DiskImageTexts::cancel(), FlatButton::Kind::Secondary, m_progressView);
    connect(m_cancelButton, &QPushButton::clicked, this, &DmgViewController::cancelButtonAction);
    auto* column = new QVBoxLayout(m_progressView);
    column->setContentsMargins(40, 30, 40, 0);
    column->setSpacing(16);
    column->addWidget(title);
    column->addWidget(m_pathLabel);
    column->addWidget(m_progressBar);
    column->addWidget(m_progressLine);
    column->addStretch(1);
    column->addWidget(m_cancelButton, 0, Qt::AlignHCenter);
    m_pages->addWidget(m_progressView);
}

void DmgViewController::buildEndView() {
    m_endView = new QWidget(m_pages);
    m_successView = new QWidget(m_endView);
    m_openLabel = makeLabel(QString(), 14, false, KitStyle::textPrimary(), m_successView);
    m_openLabel->setTextFormat(Qt::RichText);
    connect(m_openLabel, &QLabel::linkActivated, this, [this] { openPathButtonAction(); });
    m_doneButton = new FlatButton(DiskImageTexts::done(), FlatButton::Kind::Primary, m_successView);
    connect(m_doneButton, &QPushButton::clicked, this, &DmgViewController::backHomeView);
    layOutEndVariant(m_successView, QStringLiteral("ic_dmg_sel"), 72, m_openLabel, m_doneButton);

    m_failView = new QWidget(m_endView);
    m_errorLabel = makeLabel(QString(), 14, false, KitStyle::error(), m_failView);
    m_errorLabel->setTextFormat(Qt::PlainText);
    m_failBackButton = new FlatButton(DiskImageTexts::cancel(), FlatButton::Kind::Secondary, m_failView);
    connect(m_failBackButton, &QPushButton::clicked, this, &DmgViewController::backHomeView);
    layOutEndVariant(m_failView, QStringLiteral("ic_warning"), 56, m_errorLabel, m_failBackButton);

    auto* stack = new QVBoxLayout(m_endView);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->addWidget(m_successView);
    stack->addWidget(m_failView);
    m_pages->addWidget(m_endView);
}

QString DmgViewController::getCreateName(const QString& folder) {
    return DoCopyFiles::copyFolderName(QDateTime::currentDateTime(),
                                       DiskArbitration::fileSystemInfoForItem(folder).type);
}

QString DmgViewController::destinationFolder(const QString& volumePath) {
    if (volumePath == QLatin1String("/") && QvPublicUtilities::getSystemVersion() >= 1015)
        return QStringLiteral("/Users/%1/Desktop").arg(Machine::userName());
    return volumePath;
}

void DmgViewController::lockTabs(bool locked) {
    tellTabHost(!locked);
}

void DmgViewController::setCopyType(int index) {
    m_copyType->setCurrentIndex(index);
}

void DmgViewController::showErrorWindowWithErrorStr(const QString& text) {
    ErrorWindowController::showErrorOn(window(), text);
}

// Slots and the drive picker.

void DmgViewController::selectDiskButton(int slot, QObject* sender) {
    Q_UNUSED(sender);
    if (m_working)
        return;
    if (m_popover && m_popover->isShown()) {
        m_popover->closePopover();
        return;
    }
    m_openPopType = slot;
    auto* picker = new SelectDiskViewController(false);
    picker->setSelectDiskVCDelegate(this);
    SelectValueView* anchor = slot == 1 ? m_fromSlot : m_toSlot;
    m_popover = SelectDiskViewController::presentUnder(anchor, picker);
    m_popover->showRelativeTo(anchor, slot == 1 ? 1 : 2);
}

void DmgViewController::showSourceVolume() {
    if (!m_fromeVolume)
        return;
    m_fromSlot->setName(m_fromeVolume->volumeName());
    m_fromSlot->setDetailLines(m_fromeVolume->drive().detailLines());
    m_fromSlot->setHint(QString());
    m_fromSlot->setImage(SourceSlot::volumeImage(*m_fromeVolume));
    m_fromSlot->setCloseShown(true);
    m_fromSlot->setIsHaveD(true);
    m_usedSize = m_fromeVolume->volumeTotalSizeNum() - m_fromeVolume->volumeFreeSizeNum();
    m_fromSlot->setSizeText(DiskImageTexts::selectedText(QvPublicUtilities::longlongDiskSize(m_usedSize)));
}

void DmgViewController::doSelectDiskWithVolume(const VolumeObjRef& volume) {
    if (m_popover)
        m_popover->closePopover();
    if (!volume)
        return;
    dropQuestion();
    if (m_openPopType != 1) {
        if (SourceSlot::isSameVolume(volume, m_fromeVolume)) {
            m_toVolume.reset();
            m_freeSize = -1;
            SourceSlot::clearDestination(m_toSlot);
            m_createButton->setEnabled(false);
            if (m_usedSize >= 0)
                m_copyType->setEnabled(true);
            showErrorWindowWithErrorStr(SourceSlot::sameVolumeMessage());
        } else {
            m_toVolume = volume;
            SourceSlot::showDestination(m_toSlot, *volume);
            m_freeSize = volume->volumeFreeSizeNum();
        }
    } else {
        m_selectFilesSize = -1;
        m_filesArr.reset();
        setCopyType(0);
        m_isDragValue = false;
        if (SourceSlot::isSameVolume(volume, m_toVolume)) {
            m_fromeVolume.reset();
            m_usedSize = -1;
            m_fromSlot->showEmpty(SourceSlot::sourceHint());
            m_createButton->setEnabled(false);
            m_copyType->setEnabled(false);
            m_copyType->hide();
            showErrorWindowWithErrorStr(SourceSlot::sameVolumeMessage());
        } else {
            m_fromeVolume = volume;
            showSourceVolume();
            m_copyType->setEnabled(true);
            m_copyType->show();
        }
    }
    changeSelectCopyType();
}

// The confirmation names what is made and where: a change of either closes it unanswered.
void DmgViewController::dropQuestion() {
    if (m_makeSure)
        m_makeSure->closeWindow();
    m_makeSure.clear();
}

void DmgViewController::closeDiskValue(int slot) {
    if (m_working)
        return;
    dropQuestion();
    if (slot != 1) {
        m_toVolume.reset();
        m_freeSize = -1;
        SourceSlot::clearDestination(m_toSlot);
        if (m_usedSize >= 0)
            m_copyType->setEnabled(true);
    } else {
        m_controller->stopScan();
        m_fromeVolume.reset();
        m_usedSize = -1;
        m_selectFilesSize = -1;
        m_isDragValue = false;
        m_filesArr.reset();
        m_fromSlot->showEmpty(SourceSlot::sourceHint());
        m_copyType->hide();
    }
    m_createButton->setEnabled(false);
}

void DmgViewController::viewDragAction(const QStringList& paths) {
    if (m_working)
        return;
    const FileNodeList nodes = SourceSlot::nodesForDroppedPaths(paths);
    if (nodes.isEmpty())
        return;
    dropQuestion();
    m_isDragValue = true;
    m_fromeVolume.reset();
    m_usedSize = -1;
    m_filesArr = makeFileNodeArray();
    m_filesArr->setList(nodes);
    m_fromSlot->setName(DiskImageTexts::dragSomeFiles());
    m_fromSlot->setSizeText(DiskImageTexts::filesSelected(int(nodes.size())));
    m_fromSlot->setDetailLines({});
    m_fromSlot->setHint(QString());
    m_fromSlot->setImage(QStringLiteral("ic_folder"));
    m_fromSlot->setCloseShown(true);
    m_fromSlot->setIsHaveD(true);
    setCopyType(0);
    m_copyType->setEnabled(true);
    m_copyType->show();
    m_selectFilesSize = 0;
    changeSelectCopyType();
}

void DmgViewController::doShowSearchView() {
    // Dropped items are the selection already; the list shows what is on a volume.
    if (!m_fromeVolume || m_isDragValue || m_working) {
        setCopyType(m_filesArr && m_selectFilesSize > 0 ? 1 : 0);
        return;
    }
    if (m_listWindow)
        return;
    m_listWindow = new DiskListWC(window());
    m_listWindow->setDelegate(this);
    connect(m_listWindow, &QDialog::finished, m_listWindow, &QObject::deleteLater);
    // Closed without "Done": the copy type shows what is taken.
    connect(m_listWindow, &QDialog::rejected, this, [this] { setCopyType(m_selectFilesSize >= 0 ? 1 : 0); });
    m_listWindow->open();
    if (m_filesArr && m_selectFilesSize >= 0)
        m_listWindow->setArrForListWithArr(m_filesArr, m_fromeVolume->volumePath());
    else
        m_listWindow->showDetailWithPath(m_fromeVolume->volumeMountPoint());
}

void DmgViewController::closeWindowWithSelect(const FileNodeArrayRef& select, qint64 selectSize) {
    if (!select || m_working)
        return;
    dropQuestion();
    m_filesArr = select;
    m_selectFilesSize = selectSize;
    const FileNodeList top = select->toList();
    const int ticked = int(std::count_if(
        top.begin(), top.end(), [](const FileNodeRef& n) { return n->state() == 1 || n->state() == 2; }));
    if (ticked != top.size() || m_isDragValue || !m_fromeVolume) {
        m_fromSlot->setName(DiskImageTexts::filesFolders(ticked));
        m_fromSlot->setSizeText(
            DiskImageTexts::selectedText(QvPublicUtilities::longlongConvertVolSpace(selectSize)));
        m_fromSlot->setDetailLines({});
        m_fromSlot->setHint(QString());
        m_fromSlot->setImage(QStringLiteral("ic_folder"));
    } else {
        showSourceVolume();
    }
    setCopyType(1);
    m_copyType->show();
    changeCloneButtonActon();
}

// Space checks.

void DmgViewController::changeSelectCopyType() {
    if (m_usedSize >= 0 && m_freeSize >= 0) {
        const qint64 need = m_selectFilesSize >= 0 ? m_selectFilesSize : m_usedSize;
        if (need > m_freeSize) {
            // "Create Now" stays as it is: the user may still narrow the selection.
            setCopyType(1);
            m_copyType->setEnabled(false);
            m_toSlot->setErrorBackground(true);
            showErrorWindowWithErrorStr(DiskImageTexts::insufficientSpace());
        } else {
            m_copyType->setEnabled(true);
            m_createButton->setEnabled(true);
            m_toSlot->setErrorBackground(false);
        }
        return;
    }
    changeCloneButtonActon();
}

void DmgViewController::changeCloneButtonActon() {
    const bool fits = m_selectFilesSize <= m_freeSize;
    if (m_isDragValue && m_freeSize >= 0) {
        if (fits) {
            m_createButton->setEnabled(true);
            m_toSlot->setErrorBackground(false);
        } else {
            m_copyType->setEnabled(false);
            setCopyType(1);
            m_toSlot->setImage(QStringLiteral("add"));
            m_toSlot->setErrorBackground(true);
        }
    } else if (m_usedSize >= 0 && m_freeSize >= 0) {
        if (fits) {
            m_createButton->setEnabled(true);
            m_toSlot->setErrorBackground(false);
        } else {
            m_copyType->setEnabled(false);
            setCopyType(1);
            m_createButton->setEnabled(false);
            m_toSlot->setImage(QStringLiteral("add"));
            m_toSlot->setErrorBackground(true);
        }
    }
}

void DmgViewController::makeZipButAction() {
    m_isMakeZip = true;
    m_zipButton->setChecked(true);
}

void DmgViewController::makeDmgButAction() {
    m_isMakeZip = false;
    m_dmgButton->setChecked(true);
}

// Starting.

void DmgViewController::cloneButtonAction() {
    if (m_working || !m_toVolume)
        return;
    if (m_filesArr) {
        doMakeZip();
        return;
    }
    if (!m_fromeVolume) {
        showErrorWindowWithErrorStr(DiskImageTexts::nothingSelected());
        return;
    }
    // The whole volume: list its top level first.
    m_createButton->setEnabled(false);
    m_filesArr = makeFileNodeArray();
    m_controller->eumeAllRootFileNodeWithRootArr(m_filesArr, m_fromeVolume->volumePath(), true, false);
}

void DmgViewController::endScanFiles() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            // The source may have been cleared while it was listed.
            if (!m_filesArr || !m_fromeVolume)
                return;
            m_createButton->setEnabled(true);
            doMakeZip();
        },
        Qt::QueuedConnection);
}

void DmgViewController::doMakeZip() {
    m_zipFilesArr.clear();
    if (m_filesArr)
        MakeDmg::selectedPaths(m_filesArr->toList(), &m_zipFilesArr);
    if (m_zipFilesArr.isEmpty()) {
        showErrorWindowWithErrorStr(DiskImageTexts::nothingSelected());
        return;
    }
    const QString destination = m_toVolume ? m_toVolume->volumeName() : QString();
    const QString text =
        m_isMakeZip ? DiskImageTexts::confirmZip(destination) : DiskImageTexts::confirmDmg(destination);
    QPointer<DmgViewController> self(this);
    m_makeSure = DMGMakeSureWC::showOn(window(), text, [self] {
        if (self)
            self->beginToMakeDMGorZIP();
    });
}

void DmgViewController::beginToMakeDMGorZIP() {
    if (m_working || !m_toVolume)
        return;
    m_working = true;
    m_pathLabel->setText(QStringLiteral(" "));
    m_progressBar->setAnimated(false);
    m_progressBar->setDoubleValue(0);
    m_progressBar->setAnimated(true);
    m_pages->setCurrentWidget(m_progressView);
    m_step->setSetpIn(2);
    lockTabs(true);
    m_transfer->start();
    m_aTimer->start();
}

void DmgViewController::doMakeZipWithFileArr() {
    const QString folder = destinationFolder(m_toVolume->volumePath());
    m_openUrl = folder;
    m_makeDmg->doZipWithPath(joinPath(folder, getCreateName(folder) + QStringLiteral(".zip")),
                             m_filesArr->toList());
}

void DmgViewController::doMakeDMGWithFileArr() {
    changePathValue(DiskImageTexts::enumerating(), 10);
    if (!m_isDragValue && m_selectFilesSize >= 0) {
        allCopyFilesSize(m_selectFilesSize);
    } else if (!m_isDragValue && m_copyType->currentIndex() == 0) {
        allCopyFilesSize(m_usedSize);
    } else {
        // Dropped items are measured too: an image made for 0 bytes could not hold them.
        const QStringList paths = m_zipFilesArr;
        const int generation = ++m_sizeGeneration;
        QPointer<DmgViewController> self(this);
        workerPool()->start([paths, generation, self] {
            quint64 total = 0;
            for (const QString& path : paths)
                total = GetFilesSize::getFileSizeWithPat(path, total);
            onMain([self, generation, total] {
                if (self && self->m_sizeGeneration == generation)
                    self->allCopyFilesSize(qint64(total));
            });
        });
    }
}

void DmgViewController::allCopyFilesSize(qint64 size) {
    if (!m_working)
        return;
    const QString folder = destinationFolder(m_toVolume->volumePath());
    m_openUrl = MakeDmg::imageFolderFor(folder);
    m_makeDmg->makeTmpDmgWithPath(folder, getCreateName(folder), std::uint64_t(qMax<qint64>(size, 0)));
}

// The builder's reports.

void DmgViewController::beginToCopyDmg() {
    m_makeDmg->doCopyFilesToDmgWithDmg(m_zipFilesArr);
}

void DmgViewController::copyFileToDmgWithFileName(const QString& text, float progress) {
    if (m_stopping && progress >= 100) {
        // The run completed before it saw the stop: the image is whole and stays.
        endStopping();
        changePathValue(text, progress);
        notifyStoppedForQuit();
        return;
    }
    if (m_working && !m_stopping)
        changePathValue(text, progress);
}

void DmgViewController::changePathValue(const QString& text, float value) {
    const qsizetype lineBreak = text.indexOf(QLatin1Char('\n'));
    m_pathLabel->setText(lineBreak > 0 ? text.mid(lineBreak + 1) : text);
    // Once the bytes are measured the bar follows them; the stages and items are no measure.
    if (!m_transfer->drawsBytes() || value >= 100)
        m_progressBar->setDoubleValue(value / 100.0);
    if (value >= 100)
        showFaile(false);
}

void DmgViewController::makeDmgBytes(std::int64_t bytesDone, std::int64_t bytesToDo) {
    if (m_working)
        m_transfer->report(bytesDone, bytesToDo);
}

void DmgViewController::makeDmgFailWithError(const MakeDmgFailure& failure) {
    if (m_stopping) {
        // The run ended on its own before it saw the stop.
        showStopped();
        return;
    }
    if (!m_working)
        return;
    switch (failure.kind) {
    case MakeDmgFailure::Kind::VolumeInUse:
        showFailView(DiskImageTexts::volumeInUse());
        break;
    case MakeDmgFailure::Kind::ItemsMissing:
        showFailView(DiskImageTexts::itemsMissing(failure.missingItems));
        break;
    default:
        showFailView(DiskImageTexts::operationFailed());
        break;
    }
}

void DmgViewController::makeDmgDidStop() {
    if (m_stopping)
        showStopped();
}

// Stopping and the end views.

void DmgViewController::cancelButtonAction() {
    if (!m_working || m_stopping)
        return;
    m_aTimer->stop();
    ++m_sizeGeneration;
    m_makeDmg->setIsCancelCopy(true);
    m_makeDmg->stopMakeDmg();
    m_stopping = true;
    if (!m_makeDmg->isBusy()) {
        // Nothing had started yet (the start delay, the measuring of dropped items).
        showStopped();
        return;
    }
    // Until the builder has cleaned up, the progress view says so and offers nothing to press.
    m_pathLabel->setText(DiskImageTexts::stopping());
    m_cancelButton->setText(DiskImageTexts::stoppingButton());
    m_cancelButton->setEnabled(false);
}

void DmgViewController::endStopping() {
    m_stopping = false;
    m_cancelButton->setText(DiskImageTexts::cancel());
    m_cancelButton->setEnabled(true);
}

void DmgViewController::notifyStoppedForQuit() {
    if (m_stoppedForQuit)
        std::exchange(m_stoppedForQuit, nullptr)();
}

void DmgViewController::showStopped() {
    endStopping();
    showFailView(DiskImageTexts::stopped());
    // A stopped run is no failure of the tab: its way back reads "Done".
    m_failBackButton->setText(DiskImageTexts::done());
    notifyStoppedForQuit();
}

void DmgViewController::stopForQuit(std::function<void()> stopped) {
    if (!m_working && !m_stopping) {
        stopped();
        return;
    }
    m_stoppedForQuit = std::move(stopped);
    cancelButtonAction();
}

void DmgViewController::showFailView(const QString& text) {
    m_errorLabel->setText(text);
    showFaile(true);
}

void DmgViewController::showFaile(bool failed) {
    m_working = false;
    m_transfer->stop();
    m_pages->setCurrentWidget(m_endView);
    m_successView->setVisible(!failed);
    m_failView->setVisible(failed);
    m_failBackButton->setText(DiskImageTexts::cancel());
    m_step->setSetpIn(3);
    lockTabs(false);
    if (!failed)
        setOpenLabel();
}

void DmgViewController::setOpenLabel() {
    const QString text = DiskImageTexts::finished();
    if (text.size() < 11) {
        m_openLabel->setText(text.toHtmlEscaped());
        return;
    }
    const QString phrase = DiskImageTexts::openPhrase();
    const qsizetype at = text.indexOf(phrase);
    m_openLabel->setText(text.left(at).toHtmlEscaped() +
                         QStringLiteral("<a href=\"open\" style=\"color: %1; text-decoration: none;\">%2</a>")
                             .arg(KitStyle::css(KitStyle::link()), phrase.toHtmlEscaped()));
    m_openLabel->setAlignment(Qt::AlignCenter);
}

void DmgViewController::openPathButtonAction() {
    QvLog("2---%s", m_openUrl.toUtf8().constData());
    QDesktopServices::openUrl(QUrl::fromLocalFile(Machine::hostPath(m_openUrl)));
}

void DmgViewController::backHomeView() {
    m_progressBar->setAnimated(false);
    m_progressBar->setDoubleValue(0);
    m_progressBar->setAnimated(true);
    m_transfer->clear();
    closeDiskValue(1);
    closeDiskValue(2);
    m_step->setSetpIn(1);
    m_pages->setCurrentWidget(m_selectView);
}
