#include "diskmanager/RepairDiskViewController.h"

#include "core/QvPublicUtilities.h"
#include "diskmanager/DiskManagerCell.h"
#include "diskmanager/DiskManagerEngine.h"
#include "diskmanager/DiskManagerTexts.h"
#include "diskmanager/FormatEndViewController.h"
#include "diskmanager/FormatingViewController.h"
#include "diskmanager/MakeSureFormatViewController.h"
#include "diskmanager/VolumeOperations.h"
#include "ui/Accessibility.h"
#include "ui/Artwork.h"
#include "ui/AttachedWindow.h"
#include "ui/FlatButton.h"
#include "ui/ImageButton.h"
#include "ui/KitStyle.h"
#include "ui/QuestionPanel.h"
#include "volumes/NotificationCenter.h"
#include "volumes/WatchMountUnmount.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QTableWidget>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

namespace {

const char kRowProperty[] = "diskManagerRow";
constexpr int kRowHeight = 86;
// The progress popup waits this long after "Continue"; the end popup this long after the list
// has been asked for again.
constexpr int kFormatingDelayMs = 100;
constexpr int kFormatEndDelayMs = 1000;
// The popups sit at the window's top middle, this far below it.
constexpr int kPopupDistance = 5;

} // namespace

RepairDiskViewController::RepairDiskViewController(QWidget* parent)
    : QWidget(parent), m_engine(new DiskManagerEngine(this)) {
    setObjectName(QStringLiteral("RepairDiskViewController"));
    setAutoFillBackground(true);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, KitStyle::windowBackground());
    setPalette(palette);

    auto* title = new QLabel(DiskManagerTexts::tabTitle(), this);
    title->setFont(KitStyle::font(17, true));
    title->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textPrimary())));
    m_help = new ImageButton(QStringLiteral("btn_help"), this);
    m_help->setObjectName(QStringLiteral("helpButton"));
    m_help->setFixedSize(24, 24);
    m_help->setToolTip(QStringLiteral("Help"));
    m_help->setAccessibleName(tr("Help on the Disk Manager"));
    if (!Artwork::exists(m_help->normalImage()))
        m_help->setText(QStringLiteral("?"));

    m_loadProView = new QProgressBar(this);
    m_loadProView->setObjectName(QStringLiteral("loadProView"));
    m_loadProView->setRange(0, 0);
    m_loadProView->setTextVisible(false);
    m_loadProView->setFixedHeight(3);
    m_loadProView->setStyleSheet(QStringLiteral("QProgressBar { background: transparent; border: none; }"
                                                " QProgressBar::chunk { background: %1; }")
                                     .arg(KitStyle::css(KitStyle::accent())));
    QSizePolicy keepSpace = m_loadProView->sizePolicy();
    keepSpace.setRetainSizeWhenHidden(true);
    m_loadProView->setSizePolicy(keepSpace);
    m_loadProView->hide();

    m_table = new WidgetRowsTable(0, 1, this);
    m_table->setObjectName(QStringLiteral("parTableView"));
    m_table->setHorizontalHeaderLabels({QStringLiteral("Name")});
    m_table->horizontalHeader()->hide();
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(kRowHeight);
    m_table->setShowGrid(false);
    m_table->setSelectionMode(QAbstractItemView::NoSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    // The rows take the focus themselves; the table only holds them.
    m_table->setFocusPolicy(Qt::NoFocus);
    // Tab goes from row to row and button to button, not from cell to cell.
    m_table->setTabKeyNavigation(false);
    m_table->setAccessibleName(tr("Volumes"));
    m_table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_table->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_table->setFrameShape(QFrame::NoFrame);
    m_table->setStyleSheet(QStringLiteral("QTableWidget { background: transparent; }") +
                           KitStyle::thinScrollBar());
    m_table->viewport()->setAutoFillBackground(false);

    auto* header = new QHBoxLayout;
    header->setContentsMargins(22, 16, 22, 8);
    header->addWidget(title);
    header->addStretch(1);
    header->addWidget(m_help);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 12);
    column->setSpacing(0);
    column->addLayout(header);
    column->addWidget(m_loadProView);
    column->addSpacing(4);
    column->addWidget(m_table, 1);

    connect(m_help, &QAbstractButton::clicked, this, &RepairDiskViewController::helpButtonAction);
    connect(m_engine, &DiskManagerEngine::listingStarted, this, &RepairDiskViewController::listingStarted);
    connect(m_engine, &DiskManagerEngine::listingFinished, this, &RepairDiskViewController::listingFinished);
    connect(m_engine, &DiskManagerEngine::formatFinished, this, &RepairDiskViewController::formatFinished);
    connect(m_engine, &DiskManagerEngine::renameFinished, this, &RepairDiskViewController::renameFinished);
    connect(m_engine, &DiskManagerEngine::ejectFinished, this, &RepairDiskViewController::ejectFinished);

    if (allVolumeArr().isEmpty())
        getallVolumes();
    m_watchMu = new WatchMountUnmount(this);
    NotificationCenter* center = NotificationCenter::defaultCenter();
    const auto relist = [this](const QString&, QObject*, const QVariantMap&) { getallVolumes(); };
    center->addObserver(this, QString::fromLatin1(MCVolumeMountNotification), relist);
    center->addObserver(this, QString::fromLatin1(MCVolumeUnmountNotification),
                        [this](const QString&, QObject*, const QVariantMap& info) {
                            // A question about the volume that just went closes now, not once the
                            // listing (seconds with many drives) is in.
                            const QString path = info.value(QString::fromLatin1(MCVolumePathKey)).toString();
                            if (m_ejectTarget && !path.isEmpty() && m_ejectTarget->volumeMountPoint() == path)
                                closeEjectPanels();
                            getallVolumes();
                        });
}

RepairDiskViewController::~RepairDiskViewController() = default;

const VolumeObjList& RepairDiskViewController::allVolumeArr() const {
    return m_engine->allVolumeArr();
}

bool RepairDiskViewController::isScanV() const {
    return m_engine->isScanV();
}

DiskManagerCell* RepairDiskViewController::cellAt(int row) const {
    if (row < 0 || row >= m_table->rowCount())
        return nullptr;
    return qobject_cast<DiskManagerCell*>(m_table->cellWidget(row, 0));
}

int RepairDiskViewController::numberOfRowsInTableView() const {
    return static_cast<int>(allVolumeArr().size());
}

DiskManagerCell* RepairDiskViewController::tableViewViewForRow(int row) {
    if (row < 0 || row >= numberOfRowsInTableView())
        return nullptr;
    DiskManagerCell* cell = cellAt(row);
    if (!cell) {
        // Cells stay with their row and are filled anew on each reload, so a reload started by
        // one of a cell's own buttons never deletes that button under its click.
        cell = new DiskManagerCell;
        cell->setProperty(kRowProperty, row);
        connect(cell, &DiskManagerCell::pressed, this,
                [this, cell] { tableViewShouldSelectRow(cell->property(kRowProperty).toInt()); });
        connect(cell, &DiskManagerCell::textEdited, this, &RepairDiskViewController::controlTextDidChange);
        connect(cell, &DiskManagerCell::returnPressed, this, &RepairDiskViewController::saveButtonAction);
        connect(cell, &DiskManagerCell::saveClicked, this,
                [this, cell] { actOnRow(cell, &RepairDiskViewController::saveButtonAction); });
        connect(cell, &DiskManagerCell::renameClicked, this,
                [this, cell] { actOnRow(cell, &RepairDiskViewController::renameButtonAction); });
        connect(cell, &DiskManagerCell::formatClicked, this,
                [this, cell] { actOnRow(cell, &RepairDiskViewController::formatButtonAction); });
        connect(cell, &DiskManagerCell::ejectClicked, this,
                [this, cell] { actOnRow(cell, &RepairDiskViewController::ejectButtonAction); });
        m_table->setCellWidget(row, 0, cell);
    }
    cell->configure(*allVolumeArr().at(row), row == m_selectIndex, m_isRenameEdit);
    return cell;
}

void RepairDiskViewController::actOnRow(DiskManagerCell* cell, void (RepairDiskViewController::*action)()) {
    // A click handed out late (a screen reader's comes a moment after its press) may find its row
    // taken out of the table, or the rows waiting for a listing; it then does nothing.
    const int row = cell->property(kRowProperty).toInt();
    if (!m_table->isEnabled() || cellAt(row) != cell)
        return;
    if (row != m_selectIndex)
        tableViewShouldSelectRow(row);
    (this->*action)();
}

bool RepairDiskViewController::tableViewShouldSelectRow(int row) {
    m_selectIndex = row;
    m_isRenameEdit = false;
    // No row there, no volume chosen: never the one chosen before.
    m_selectVolume = row >= 0 && row < numberOfRowsInTableView() ? allVolumeArr().at(row) : VolumeObjRef();
    reloadData();
    return true;
}

void RepairDiskViewController::reloadData() {
    const int rows = numberOfRowsInTableView();
    if (m_table->rowCount() != rows)
        m_table->setRowCount(rows);
    for (int row = 0; row < rows; ++row)
        tableViewViewForRow(row);
}

void RepairDiskViewController::controlTextDidChange(const QString& text) {
    m_editStr = text;
    // The name the volume will really get, before anything runs.
    if (!m_isRenameEdit || !m_selectVolume)
        return;
    const VolumeOperations::NameHint hint = VolumeOperations::renameHint(*m_selectVolume, text);
    if (DiskManagerCell* cell = cellAt(m_selectIndex))
        cell->setNameHint(hint.text, hint.refused);
}

void RepairDiskViewController::renameButtonAction() {
    m_editStr.clear();
    m_isRenameEdit = true;
    reloadData();
}

void RepairDiskViewController::saveButtonAction() {
    if (m_isRenameEdit && m_selectVolume) {
        const VolumeOperations::NameCheck check =
            VolumeOperations::checkRenameName(*m_selectVolume, m_editStr);
        if (!check.name.isNull() && !check.usable()) {
            // Nothing runs; the field stays open and says why the name cannot be used.
            if (DiskManagerCell* cell = cellAt(m_selectIndex))
                cell->setNameProblem(check.problem);
            return;
        }
        if (check.usable())
            m_engine->renameVolume(m_selectVolume, m_editStr);
    }
    m_editStr.clear();
    m_isRenameEdit = false;
    reloadData();
}

void RepairDiskViewController::renameFinished(const VolumeObjRef& volume, const QString& editedText,
                                              const VolumeOperations::Outcome& outcome) {
    const qsizetype row = allVolumeArr().indexOf(volume);
    if (outcome.succeeded || row < 0) {
        reloadData();
        return;
    }
    // The tool refused: the row goes back to its name field with the typed text and the reason.
    tableViewShouldSelectRow(static_cast<int>(row));
    renameButtonAction();
    m_editStr = editedText;
    if (DiskManagerCell* cell = cellAt(static_cast<int>(row))) {
        cell->nameField()->setText(editedText);
        cell->setNameProblem(outcome.message);
    }
}

void RepairDiskViewController::ejectButtonAction() {
    if (m_selectVolume)
        m_engine->ejectVolume(m_selectVolume);
}

void RepairDiskViewController::ejectFinished(const VolumeObjRef& volume,
                                             const VolumeOperations::Outcome& outcome) {
    if (!outcome.ran)
        return;
    reloadData();
    if (outcome.succeeded)
        return;
    if (outcome.dissenterPid > 0)
        showVolumeInUse(volume, outcome);
    else
        showEjectFailed(volume, outcome.message);
}

void RepairDiskViewController::closeEjectPanels() {
    if (m_ejectQuestion)
        m_ejectQuestion->closeWindow();
    if (m_ejectMessage)
        m_ejectMessage->closeWindow();
}

void RepairDiskViewController::showVolumeInUse(const VolumeObjRef& volume,
                                               const VolumeOperations::Outcome& outcome) {
    closeEjectPanels();
    const QString program = QFileInfo(outcome.dissenterPath).fileName();
    const int pid = outcome.dissenterPid;
    auto* question = new QuestionPanel(DiskManagerTexts::ejectRefusedTitle(volume->volumeName()),
                                       DiskManagerTexts::okButton(), DiskManagerTexts::forceEject());
    question->setObjectName(QStringLiteral("volumeInUse"));
    question->setText(DiskManagerTexts::volumeInUse(volume->volumeName(), program, pid));
    connect(question->quietButton(), &QAbstractButton::clicked, question, &MessagePanel::closeWindow);
    connect(question->mainButton(), &QAbstractButton::clicked, this, [this, question, volume, program, pid] {
        question->closeWindow();
        askForceEject(volume, program, pid);
    });
    question->setSuperDelegate(attach(question));
    m_ejectQuestion = question;
    m_ejectTarget = volume;
}

void RepairDiskViewController::askForceEject(const VolumeObjRef& volume, const QString& program, int pid) {
    auto* question = new QuestionPanel(DiskManagerTexts::forceEjectTitle(volume->volumeName()),
                                       DiskManagerTexts::cancelButton(), DiskManagerTexts::forceEject());
    question->setObjectName(QStringLiteral("forceEject"));
    question->setText(DiskManagerTexts::forceEjectBody(volume->volumeName(), program, pid));
    connect(question->quietButton(), &QAbstractButton::clicked, question, &MessagePanel::closeWindow);
    connect(question->mainButton(), &QAbstractButton::clicked, this, [this, question, volume] {
        question->closeWindow();
        m_engine->forceEjectVolume(volume);
    });
    question->setSuperDelegate(attach(question));
    m_ejectQuestion = question;
    m_ejectTarget = volume;
}

void RepairDiskViewController::showEjectFailed(const VolumeObjRef& volume, const QString& message) {
    closeEjectPanels();
    auto* panel = new MessagePanel(MessagePanel::Arrangement::Heading, QStringLiteral("ic_warning"),
                                   DiskManagerTexts::ejectRefusedTitle(volume->volumeName()));
    panel->setObjectName(QStringLiteral("ejectFailed"));
    panel->setText(message);
    panel->addButton(DiskManagerTexts::okButton());
    panel->setSuperDelegate(attach(panel));
    m_ejectMessage = panel;
    m_ejectTarget = volume;
}

void RepairDiskViewController::closeEjectPanelsOfGoneVolume() {
    // A question or refusal about a volume that has since gone (pulled out, ejected elsewhere) has
    // nothing left to ask or say.
    if (!m_ejectTarget || (!m_ejectQuestion && !m_ejectMessage))
        return;
    const VolumeObjList& volumes = allVolumeArr();
    const QString uuid = m_ejectTarget->diskUUID();
    if (std::none_of(volumes.begin(), volumes.end(),
                     [&](const VolumeObjRef& v) { return v->diskUUID() == uuid; }))
        closeEjectPanels();
}

void RepairDiskViewController::helpButtonAction() {
    QDesktopServices::openUrl(QUrl(QvLinkUrl::GetUrl(QStringLiteral("SupportTeam"))));
}

AttachedWindow* RepairDiskViewController::attach(QWidget* content) {
    QWidget* host = window();
    return new AttachedWindow(content, AttachedWindow::middleTop(host), host, kPopupDistance);
}

void RepairDiskViewController::formatButtonAction() {
    if (!m_formatend || !m_selectVolume)
        return;
    m_formatend = false;
    m_formatTarget = m_selectVolume;
    auto* confirmation = new MakeSureFormatViewController;
    confirmation->setDelegate(this);
    confirmation->setName(m_selectVolume->volumeName(), m_selectVolume->diskType());
    // The erase destroys this volume only, not the others on its drive.
    const DriveIdentity& drive = m_selectVolume->drive();
    QList<DriveVolume> destroyed = drive.volumesOn(m_selectVolume->volRootDir());
    if (destroyed.isEmpty()) {
        destroyed << DriveVolume{m_selectVolume->volumeName(), m_selectVolume->volRootDir(),
                                 m_selectVolume->volumeTotalSizeNum() - m_selectVolume->volumeFreeSizeNum()};
    }
    confirmation->setLoss(m_selectVolume->volRootDir(), drive, destroyed);
    confirmation->setSuperDelegate(attach(confirmation));
    m_makeSure = confirmation;
}

void RepairDiskViewController::makeSureToFormatSelectVolumeWithName(const QString& name,
                                                                    const QString& type) {
    m_formatend = true;
    ++m_formatsRunning;
    QTimer::singleShot(kFormatingDelayMs, this, &RepairDiskViewController::showFormatingView);
    const VolumeObjRef target = m_formatTarget ? m_formatTarget : m_selectVolume;
    m_formatTarget.reset();
    m_engine->formatVolume(target, name, type);
}

QString RepairDiskViewController::formatNameHint(const QString& name, const QString& type, bool* refused) {
    const VolumeObjRef target = m_formatTarget ? m_formatTarget : m_selectVolume;
    if (!target)
        return QString();
    const VolumeOperations::NameHint hint = VolumeOperations::formatHint(*target, name, type);
    *refused = hint.refused;
    return hint.text;
}

QString RepairDiskViewController::formatNameProblem(const QString& name, const QString& type) {
    const VolumeObjRef target = m_formatTarget ? m_formatTarget : m_selectVolume;
    if (!target)
        return QString();
    return VolumeOperations::checkFormatName(*target, name, type).problem;
}

void RepairDiskViewController::cancelFormatVoluem() {
    m_formatend = true;
    m_formatTarget.reset();
}

void RepairDiskViewController::showFormatingView() {
    // A format that has already returned needs no progress popup.
    if (m_formatsRunning == 0)
        return;
    if (m_formating)
        m_formating->closeWindow();
    auto* progress = new FormatingViewController;
    progress->setSuperDelegate(attach(progress));
    m_formating = progress;
}

void RepairDiskViewController::formatFinished(const VolumeOperations::Outcome& outcome) {
    m_lastFormat = outcome;
    if (m_formatsRunning > 0)
        --m_formatsRunning;
    if (m_formatsRunning == 0 && m_formating)
        m_formating->closeWindow();
    m_engine->setScanV(false);
    getallVolumes();
    QTimer::singleShot(kFormatEndDelayMs, this, &RepairDiskViewController::showFormatEndWindow);
}

void RepairDiskViewController::showFormatEndWindow() {
    if (m_formatEnd)
        m_formatEnd->closeWindow();
    auto* end = new FormatEndViewController;
    end->setOutcome(m_lastFormat.succeeded, m_lastFormat.message);
    end->setSuperDelegate(attach(end));
    m_formatEnd = end;
}

void RepairDiskViewController::getallVolumes() {
    // A mount or unmount during a listing may have come after the listing read "/Volumes/".
    if (!m_engine->getallVolumes())
        m_relistPending = true;
}

void RepairDiskViewController::getVolumeAllObjWithVolumeName(const QString& bsdName, VolumeObjList& list) {
    DiskManagerEngine::getVolumeAllObjWithVolumeName(bsdName, list);
}

std::optional<QVariantMap> RepairDiskViewController::getDisjInfo(const char* name) {
    return VolumeOperations::getDisjInfo(name);
}

std::optional<QVariantMap> RepairDiskViewController::getAllDiskAndVolumes() {
    return VolumeOperations::getAllDiskAndVolumes();
}

QString RepairDiskViewController::byteToSizeWithByte(std::int64_t bytes) {
    return DiskManagerEngine::byteToSizeWithByte(bytes);
}

bool RepairDiskViewController::containsChinese(const QString& text) {
    return VolumeOperations::containsChinese(text);
}

void RepairDiskViewController::listingStarted() {
    m_loadProView->show();
    m_selectVolume.reset();
    // The rows still show the last listing: nothing in them can be pressed until the new one is
    // in, so no button acts on a device name that may by now be another disk's.
    m_table->setEnabled(false);
    reloadData();
}

void RepairDiskViewController::listingFinished() {
    m_loadProView->hide();
    m_table->setEnabled(true);
    m_selectIndex = 0;
    m_isRenameEdit = false;
    const VolumeObjList& volumes = allVolumeArr();
    m_selectVolume = volumes.isEmpty() ? VolumeObjRef() : volumes.first();
    reloadData();
    closeEjectPanelsOfGoneVolume();
    Q_EMIT volumesReloaded();
    if (m_relistPending) {
        m_relistPending = false;
        getallVolumes();
    }
}
