#include "osclone/SelectDrivceViewController.h"

#include "core/MainThread.h"
#include "core/QvPublicUtilities.h"
#include "core/TransferMeter.h"
#include "core/WorkerPool.h"
#include "osclone/OsCloneTexts.h"
#include "platform/Privacy.h"
#include "ui/AttachedWindow.h"
#include "ui/ErrorWindowController.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "ui/Popover.h"
#include "ui/SelectValueView.h"
#include "ui/SetpFViewController.h"
#include "ui/StripedProgressBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QThreadPool>
#include <QTimer>
#include <QVBoxLayout>

#include <utility>

namespace {

constexpr int kPopupDistance = 5;
// How often a stop looks whether the engine has ended.
constexpr int kStopPollMs = 100;

QLabel* textLabel(double pointSize, bool bold, const QColor& colour, QWidget* parent) {
    auto* label = KitStyle::label(QString(), pointSize, bold, colour, parent);
    label->setTextFormat(Qt::PlainText);
    return label;
}

// The bar's value in percent for a stage of the clone; -1 for stages that leave it alone.
int barForStep(int step) {
    switch (step) {
    case 0:
    case 6:
    case 7:
        return 0;
    case 1:
        return 5;
    case 2:
        return 10;
    case 3:
        return 15;
    case 4:
        return 20;
    case 5:
        return 30;
    case 8:
        return 100;
    default:
        return -1;
    }
}

} // namespace

SelectDrivceViewController::SelectDrivceViewController(QWidget* parent)
    : QWidget(parent), m_engine(QvBootable::QvShareInstance()) {
    setObjectName(QStringLiteral("SelectDrivceViewController"));
    setAutoFillBackground(true);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, KitStyle::windowBackground());
    setPalette(palette);

    m_engine->QvInit();
    m_engine->QvSetDelegate(this);

    auto* title = textLabel(17, true, KitStyle::textPrimary(), this);
    title->setText(OsCloneTexts::tabTitle());
    m_selectDiskView = buildSelectDiskView();
    m_copyProgressView = buildCopyProgressView();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 16, 22, 20);
    column->setSpacing(10);
    column->addWidget(title);
    column->addWidget(m_selectDiskView, 1);
    column->addWidget(m_copyProgressView, 1);
    m_copyProgressView->hide();

    closeDiskValue(2);
    measureSystemVolume();
}

void SelectDrivceViewController::measureSystemVolume() {
    // diskutil may take a while to answer: it is asked on a worker, and Clone Now stays off
    // until the size is known.
    QPointer<SelectDrivceViewController> self(this);
    workerPool()->start([self] {
        const std::int64_t used = CheckVolumeIsBootDriveImp();
        onMain([self, used] {
            if (self)
                self->systemVolumeMeasured(used);
        });
    });
}

void SelectDrivceViewController::systemVolumeMeasured(std::int64_t used) {
    m_usedSize = used;
    m_sourceSlot->setSizeText(QvPublicUtilities::longlongDiskSize(used));
    if (m_toVolume)
        changeSelectCopyType();
}

SelectDrivceViewController::~SelectDrivceViewController() {
    if (m_engine->delegateObj() == this)
        m_engine->QvSetDelegate(nullptr);
    if (m_popoverController)
        m_popoverController->deleteLater();
}

QWidget* SelectDrivceViewController::buildSelectDiskView() {
    auto* view = new QWidget(this);
    view->setObjectName(QStringLiteral("selectDiskView"));
    m_chooseStep = new SetpFViewController(view);
    m_chooseStep->setSetpIn(1);

    m_sourceSlot = new SelectValueView(1, view);
    m_sourceSlot->setObjectName(QStringLiteral("sourceSlot"));
    m_sourceSlot->setDelegate(this);
    m_sourceSlot->setIsCanSelect(false);
    m_sourceSlot->setAcceptsFileDrops(false);
    m_sourceSlot->setImage(QStringLiteral("ic_os_main_b"));
    m_sourceSlot->setName(OsCloneTexts::systemDrive());
    m_sourceSlot->setHint(QString());
    m_sourceSlot->setCloseShown(false);
    m_sourceSlot->setIsHaveD(true);

    m_targetSlot = new SelectValueView(2, view);
    m_targetSlot->setObjectName(QStringLiteral("targetSlot"));
    m_targetSlot->setDelegate(this);
    m_targetSlot->setChooseName(tr("Choose the destination drive"));
    m_targetSlot->setAcceptsFileDrops(false);

    auto* arrow = textLabel(28, false, KitStyle::textSecondary(), view);
    arrow->setText(QStringLiteral("\u2192"));

    m_cloneButton = new FlatButton(OsCloneTexts::cloneNow(), FlatButton::Kind::Primary, view);
    m_cloneButton->setObjectName(QStringLiteral("cloneButton"));
    m_cloneButton->setEnabled(false);
    connect(m_cloneButton, &QAbstractButton::clicked, this, &SelectDrivceViewController::cloneButtonAction);

    auto* slots = new QHBoxLayout;
    slots->setSpacing(18);
    slots->addStretch(1);
    slots->addWidget(m_sourceSlot);
    slots->addWidget(arrow);
    slots->addWidget(m_targetSlot);
    slots->addStretch(1);
    // What a clone needs, said before it starts; what this Mac lacks for it, in the error colour.
    const bool lacksFullDiskAccess =
        QvPublicUtilities::getSystemVersion() >= 1300 && !Privacy::hasFullDiskAccess();
    m_requirementsLabel =
        textLabel(12, false, lacksFullDiskAccess ? KitStyle::error() : KitStyle::textSecondary(), view);
    m_requirementsLabel->setObjectName(QStringLiteral("requirementsLabel"));
    m_requirementsLabel->setWordWrap(true);
    m_requirementsLabel->setText(lacksFullDiskAccess ? OsCloneTexts::needsFullDiskAccess()
                                                     : OsCloneTexts::needsAdministrator());
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(18);
    buttons->addWidget(m_requirementsLabel, 1);
    buttons->addWidget(m_cloneButton);
    auto* column = new QVBoxLayout(view);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(18);
    column->addWidget(m_chooseStep, 0, Qt::AlignHCenter);
    column->addLayout(slots);
    column->addStretch(1);
    column->addLayout(buttons);
    return view;
}

QWidget* SelectDrivceViewController::buildCopyProgressView() {
    auto* view = new QWidget(this);
    view->setObjectName(QStringLiteral("copyProgressView"));
    m_stepFVC = new SetpFViewController(view);
    m_stepFVC->setSetpIn(2);

    m_progressView = new QWidget(view);
    m_progressView->setObjectName(QStringLiteral("progressView"));
    m_animImageView = new ImageView(QStringLiteral("erase"), m_progressView);
    m_animImageView->setObjectName(QStringLiteral("animImageView"));
    m_animImageView->setFixedSize(110, 110);
    m_iProgreeBar = new StripedProgressBar(m_progressView);
    m_iProgreeBar->setObjectName(QStringLiteral("iProgreeBar"));
    m_iProgreeBar->setFixedWidth(460);
    m_pathLabel = textLabel(12, false, KitStyle::textSecondary(), m_progressView);
    m_pathLabel->setObjectName(QStringLiteral("pathLabel"));
    m_pathLabel->setAlignment(Qt::AlignHCenter);
    m_pathLabel->setFixedWidth(460);
    m_progressLine = textLabel(12, false, KitStyle::textSecondary(), m_progressView);
    m_progressLine->setObjectName(QStringLiteral("progressLine"));
    m_progressLine->setAlignment(Qt::AlignHCenter);
    m_progressLine->setFixedWidth(460);
    m_timesTick = new QTimer(this);
    m_timesTick->setInterval(1000);
    connect(m_timesTick, &QTimer::timeout, this, &SelectDrivceViewController::showTimes);
    m_cancelButton = new FlatButton(OsCloneTexts::cancel(), FlatButton::Kind::Secondary, m_progressView);
    m_cancelButton->setObjectName(QStringLiteral("cancelButton"));
    connect(m_cancelButton, &QAbstractButton::clicked, this, &SelectDrivceViewController::cancelButtonAction);
    auto* progress = new QVBoxLayout(m_progressView);
    progress->setContentsMargins(0, 10, 0, 0);
    progress->setSpacing(14);
    progress->addWidget(m_animImageView, 0, Qt::AlignHCenter);
    progress->addWidget(m_iProgreeBar, 0, Qt::AlignHCenter);
    progress->addWidget(m_progressLine, 0, Qt::AlignHCenter);
    progress->addWidget(m_pathLabel, 0, Qt::AlignHCenter);
    progress->addStretch(1);
    progress->addWidget(m_cancelButton, 0, Qt::AlignRight);

    m_endView = new QWidget(view);
    m_endView->setObjectName(QStringLiteral("endView"));
    m_sussView = buildEndPanel(true);
    m_failView = buildEndPanel(false);
    auto* end = new QVBoxLayout(m_endView);
    end->setContentsMargins(0, 10, 0, 0);
    end->addWidget(m_sussView);
    end->addWidget(m_failView);
    m_sussView->hide();
    m_failView->hide();
    m_endView->hide();

    auto* column = new QVBoxLayout(view);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(18);
    column->addWidget(m_stepFVC, 0, Qt::AlignHCenter);
    column->addWidget(m_progressView, 1);
    column->addWidget(m_endView, 1);
    return view;
}

QWidget* SelectDrivceViewController::buildEndPanel(bool success) {
    auto* panel = new QWidget(m_endView);
    panel->setObjectName(success ? QStringLiteral("sussView") : QStringLiteral("failView"));
    auto* icon = new ImageView(success ? QStringLiteral("ic_usb_main") : QStringLiteral("ic_warning"), panel);
    icon->setFixedSize(96, 96);
    auto* heading = textLabel(16, true, KitStyle::textPrimary(), panel);
    heading->setText(success ? OsCloneTexts::succeededTitle() : OsCloneTexts::failedTitle());
    auto* message = textLabel(13, false, KitStyle::textSecondary(), panel);
    message->setWordWrap(true);
    message->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    auto* done = new FlatButton(OsCloneTexts::done(), FlatButton::Kind::Primary, panel);
    auto* column = new QVBoxLayout(panel);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(14);
    column->addWidget(icon, 0, Qt::AlignHCenter);
    column->addWidget(heading, 0, Qt::AlignHCenter);
    column->addWidget(message);
    column->addStretch(1);
    column->addWidget(done, 0, Qt::AlignRight);
    if (success) {
        message->setText(OsCloneTexts::succeeded());
        done->setObjectName(QStringLiteral("succCancelButton"));
        m_succCancelButton = done;
        connect(done, &QAbstractButton::clicked, this, &SelectDrivceViewController::succCancelButtonAction);
    } else {
        message->setObjectName(QStringLiteral("errorLable"));
        m_errorLable = message;
        done->setObjectName(QStringLiteral("failCancelButton"));
        m_failCancelButton = done;
        connect(done, &QAbstractButton::clicked, this, &SelectDrivceViewController::failCancelButtonAction);
    }
    return panel;
}

std::int64_t SelectDrivceViewController::CheckVolumeIsBootDriveImp() {
    return QvBootable::systemVolumeUsedSize();
}

void SelectDrivceViewController::selectDiskButton(int slot, QObject*) {
    if (slot == 1)
        return;
    if (m_popoverController && m_popoverController->isShown()) {
        m_popoverController->closePopover();
        return;
    }
    m_openPopType = slot;
    auto* picker = new SelectDiskViewController(true);
    picker->setSelectDiskVCDelegate(this);
    m_selectDiskVC = picker;
    m_popoverController = SelectDiskViewController::presentUnder(m_targetSlot, picker);
}

void SelectDrivceViewController::doSelectDiskWithVolume(const VolumeObjRef& volume) {
    if (m_popoverController)
        m_popoverController->closePopover();
    if (!volume || m_openPopType == 1)
        return;
    dropStartConfirmation();
    m_toVolume = volume;
    m_targetSlot->setIsHaveD(true);
    m_targetSlot->setName(volume->volumeName());
    m_targetSlot->setSizeText(OsCloneTexts::freeSize(volume->volumeTotalSize()));
    m_targetSlot->setHint(QString());
    m_targetSlot->setDetailLines(volume->drive().detailLines());
    m_targetSlot->setCloseShown(true);
    m_targetSlot->setImage(QStringLiteral("ic_usb_main"));
    m_targetSlot->setErrorBackground(false);
    m_freeSize = volume->volumeTotalSizeNum();
    changeSelectCopyType();
}

void SelectDrivceViewController::changeSelectCopyType() {
    if (m_usedSize == -1 || m_freeSize == -1) {
        changeCloneButtonActon();
        return;
    }
    if (m_usedSize <= m_freeSize) {
        m_cloneButton->setEnabled(true);
        m_targetSlot->setErrorBackground(false);
        // The warning about a drive too small is not left standing over one that fits.
        if (m_errorWindow)
            m_errorWindow->closeWindow();
        return;
    }
    showTargetProblem();
    showErrorWindowWithErrorStr(OsCloneTexts::insufficientSpace());
}

void SelectDrivceViewController::changeCloneButtonActon() {
    const bool fits =
        m_usedSize != -1 && m_freeSize != -1 && m_toVolume && m_usedSize <= m_toVolume->volumeTotalSizeNum();
    m_cloneButton->setEnabled(fits);
    if (m_toVolume && !fits)
        showTargetProblem();
}

void SelectDrivceViewController::showTargetProblem() {
    m_cloneButton->setEnabled(false);
    m_targetSlot->setImage(QStringLiteral("add"));
    m_targetSlot->setErrorBackground(true);
}

// The start confirmation names the drive it erases: when another drive is chosen, or none, it
// closes unanswered rather than let "Clone Now" erase a drive it did not name.
void SelectDrivceViewController::dropStartConfirmation() {
    if (m_startConfirmation)
        m_startConfirmation->cancelButtonAction();
    m_startConfirmation.clear();
}

void SelectDrivceViewController::closeDiskValue(int) {
    dropStartConfirmation();
    m_toVolume.reset();
    m_freeSize = -1;
    m_targetSlot->setIsHaveD(false);
    m_targetSlot->showEmpty(OsCloneTexts::destinationHint());
    m_cloneButton->setEnabled(false);
}

void SelectDrivceViewController::cloneButtonAction() {
    doCopyAction();
}

void SelectDrivceViewController::doCopyAction() {
    if (!m_toVolume || m_startConfirmation)
        return;
    auto* confirmation = new MakeSureToCloneSystemVC;
    confirmation->setDelegate(this);
    confirmation->setDrive(*m_toVolume);
    QWidget* host = window();
    confirmation->setSuperDelegate(
        new AttachedWindow(confirmation, AttachedWindow::middleTop(host), host, kPopupDistance));
    m_startConfirmation = confirmation;
}

void SelectDrivceViewController::beginToCopySystem() {
    if (!m_toVolume)
        return;
    m_selectDiskView->hide();
    m_copyProgressView->show();
    m_progressView->show();
    m_endView->hide();
    m_pathLabel->clear();
    m_iProgreeBar->setDoubleValue(0.0);
    m_cloneClock.start();
    m_pass = 0;
    m_passTenths = 0;
    m_runEnded = false;
    showTimes();
    m_timesTick->start();
    canChangeTab(false);
    const int result = m_engine->QvStart(m_toVolume);
    if (result < 0) {
        const QString text =
            result == QvBootable::kErrUnplugged ? OsCloneTexts::unplugged() : OsCloneTexts::createFailed();
        showFailView(text);
        showErrorWindowWithErrorStr(text);
    }
}

void SelectDrivceViewController::cancelButtonAction() {
    if (m_cancelConfirmation)
        return;
    auto* confirmation = new MakeSureCancelCloneSystemVC;
    confirmation->setDelegate(this);
    QWidget* host = window();
    confirmation->setSuperDelegate(
        new AttachedWindow(confirmation, AttachedWindow::middleTop(host), host, kPopupDistance));
    m_cancelConfirmation = confirmation;
}

void SelectDrivceViewController::cancelToCopySystem() {
    if (m_stopping || m_runEnded)
        return;
    m_engine->QvStop();
    // "Stopped" is said once the erase or the restore tool has really ended: until then the
    // progress view says so, offers nothing to press, and the tabs stay locked.
    m_stopping = true;
    m_stopSucceeded = false;
    m_pathLabel->setText(OsCloneTexts::stopping());
    m_cancelButton->setText(OsCloneTexts::stoppingButton());
    m_cancelButton->setEnabled(false);
    waitForTheEngineToEnd();
}

void SelectDrivceViewController::waitForTheEngineToEnd() {
    if (m_endWatch)
        return;
    m_endWatch = new QTimer(this);
    connect(m_endWatch, &QTimer::timeout, this, [this] {
        if (m_engine->isRunning())
            return;
        m_endWatch->stop();
        m_endWatch->deleteLater();
        m_endWatch = nullptr;
        if (m_stopping) {
            m_stopping = false;
            m_cancelButton->setText(OsCloneTexts::cancel());
            m_cancelButton->setEnabled(true);
            // A restore that finished just before it was stopped made the drive bootable all the
            // same.
            if (m_stopSucceeded)
                changeProValue(100.0);
            else
                showFailView(OsCloneTexts::stopped());
        }
        for (const std::function<void()>& stopped : std::exchange(m_stoppedForQuit, {}))
            stopped();
    });
    m_endWatch->start(kStopPollMs);
}

void SelectDrivceViewController::QvUINotify(const QvProgressRecord* record) {
    if (!record || m_runEnded)
        return;
    if (m_stopping) {
        m_stopSucceeded = m_stopSucceeded || (record->errorCode == 0 && record->stepCode == 8);
        return;
    }
    if (record->errorCode < 0) {
        const QString text = OsCloneTexts::errorText(record->errorCode);
        if (text.isEmpty())
            return;
        m_engine->QvStop();
        showFailView(text);
        showErrorWindowWithErrorStr(text);
        return;
    }
    if (record->stepCode == 1) {
        m_stepFVC->setSetpIn(2);
        m_animImageView->setImageName(QStringLiteral("erase"));
    } else if (record->stepCode == 5) {
        if (m_pass == 0) {
            m_pass = 1;
            m_passStartMs = m_cloneClock.elapsed();
        }
        m_stepFVC->setSetpIn(3);
        m_animImageView->setImageName(QStringLiteral("copy"));
    } else if (record->stepCode == 8) {
        m_stepFVC->setSetpIn(4);
    }
    const int bar = barForStep(record->stepCode);
    if (bar >= 0)
        changeProValue(bar);
}

void SelectDrivceViewController::changeProTimeWithTag(int tag, int step) {
    if (m_runEnded || m_stopping)
        return;
    if ((step == 1 || step == 2) && tag >= 1 && tag <= 10) {
        const std::int64_t now = m_cloneClock.elapsed();
        if (step != m_pass) {
            // The second pass begins where the first left off.
            m_passStartMs = m_pass == 1 && m_passTenths > 0 ? m_passTenthsMs : now;
            m_pass = step;
        }
        m_passTenths = tag;
        m_passTenthsMs = now;
        showTimes();
    }
    if (step == 1)
        changeProValue(3 * tag + 35);
    else if (step == 2)
        changeProValue(3 * tag + 65);
}

void SelectDrivceViewController::changeProLabelValue(const QString& text) {
    if (!m_stopping)
        m_pathLabel->setText(trim(text));
}

void SelectDrivceViewController::changeProValue(double percent) {
    m_iProgreeBar->setDoubleValue(percent / 100.0);
    if (percent >= 100.0) {
        m_progressView->hide();
        m_endView->show();
        showFaile(false);
    }
}

void SelectDrivceViewController::showFailView(const QString& text) {
    m_progressView->hide();
    m_endView->show();
    m_errorLable->setText(text);
    showFaile(true);
}

void SelectDrivceViewController::showTimes() {
    const std::int64_t now = m_cloneClock.elapsed();
    QString line = TransferMeter::elapsedText(now / 1000) + QStringLiteral(" elapsed");
    if (m_passTenths > 0 && m_passTenths < 10) {
        // The pace of the pass's tenths so far, counted down from the last one.
        const double atTenth =
            TransferMeter::secondsLeftAt(m_passTenthsMs - m_passStartMs, m_passTenths / 10.0);
        const double left = atTenth - double(now - m_passTenthsMs) / 1000.0;
        if (left > 0)
            line += QStringLiteral(" \u00b7 ") + TransferMeter::timeLeftText(left) +
                    QStringLiteral(" left in this pass");
    }
    m_progressLine->setText(line);
}

void SelectDrivceViewController::showFaile(bool failed) {
    m_runEnded = true;
    m_timesTick->stop();
    m_stepFVC->setSetpIn(4);
    m_failView->setVisible(failed);
    m_sussView->setVisible(!failed);
    if (m_cancelConfirmation)
        m_cancelConfirmation->closeWindow();
    canChangeTab(true);
}

void SelectDrivceViewController::showErrorWindowWithErrorStr(const QString& text) {
    if (m_errorWindow)
        m_errorWindow->closeWindow();
    m_errorWindow = ErrorWindowController::showErrorOn(window(), text);
}

void SelectDrivceViewController::failCancelButtonAction() {
    backHomeView();
}

void SelectDrivceViewController::succCancelButtonAction() {
    backHomeView();
}

void SelectDrivceViewController::backHomeView() {
    m_iProgreeBar->setDoubleValue(0.0);
    m_progressLine->clear();
    m_progressView->show();
    m_endView->hide();
    closeDiskValue(2);
    m_selectDiskView->show();
    m_copyProgressView->hide();
}

void SelectDrivceViewController::canChangeTab(bool allowed) {
    tellTabHost(allowed);
}

FeatureTab::Job SelectDrivceViewController::runningJob() const {
    if (!m_engine->isRunning())
        return Job::None;
    return m_engine->eraseBegan() ? Job::CloneErased : Job::Clone;
}

void SelectDrivceViewController::stopForQuit(std::function<void()> stopped) {
    if (!m_engine->isRunning()) {
        stopped();
        return;
    }
    if (m_cancelConfirmation)
        m_cancelConfirmation->closeWindow();
    m_stoppedForQuit.push_back(std::move(stopped));
    // The end view may already show while the engine finishes: it is stopped all the same.
    if (m_runEnded)
        m_engine->QvStop();
    cancelToCopySystem();
    waitForTheEngineToEnd();
}

QString SelectDrivceViewController::trim(const QString& text) {
    return text.trimmed();
}
