#include "filecopy/DiskListWC.h"

#include "filecopy/Controller.h"
#include "filecopy/ListFileViewController.h"
#include "platform/Machine.h"
#include "ui/KitStyle.h"
#include "ui/TitleBarView.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLabel>
#include <QUrl>
#include <QVBoxLayout>

namespace {

// The list's "show in the file viewer": the folder holding the item is opened; an item is
// opened with the application the system chooses for it.
void installFileViewerActions() {
    static const bool installed = [] {
        Controller::setFileViewerActions(
            [](const QString& path) {
                const QString host = Machine::hostPath(path);
                QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(host).absolutePath()));
            },
            [](const QString& path) {
                QDesktopServices::openUrl(QUrl::fromLocalFile(Machine::hostPath(path)));
            });
        return true;
    }();
    (void)installed;
}

} // namespace

DiskListWC::DiskListWC(QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint), m_listFileVC(new ListFileViewController(this)),
      m_titleBar(new TitleBarView(this)) {
    installFileViewerActions();
    setModal(true);
    resize(780, 540);
    setAutoFillBackground(true);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, KitStyle::windowBackground());
    setPalette(pal);

    m_titleBar->setFixedHeight(kTitleBarHeight);
    m_titleBar->setAutoFillBackground(true);
    QPalette bar = m_titleBar->palette();
    bar.setColor(QPalette::Window, KitStyle::sidebarBackground());
    m_titleBar->setPalette(bar);
    m_pathLabel = KitStyle::label(QString(), 12, true, KitStyle::textSecondary(), m_titleBar);
    m_pathLabel->setAlignment(Qt::AlignCenter);
    m_pathLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
    connect(m_titleBar, &TitleBarView::closeClicked, this, &DiskListWC::closeWindow);

    m_listFileVC->setDetagate(this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_titleBar);
    layout->addWidget(m_listFileVC, 1);
}

DiskListWC::~DiskListWC() {
    m_listFileVC->setDetagate(nullptr);
    m_listFileVC->stopAll();
}

void DiskListWC::setPathTitle(const QString& path) {
    setWindowTitle(path);
    m_pathLabel->setText(path);
    m_pathLabel->setGeometry(60, 0, qMax(0, width() - 120), kTitleBarHeight);
}

void DiskListWC::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    m_pathLabel->setGeometry(60, 0, qMax(0, width() - 120), kTitleBarHeight);
}

void DiskListWC::showDetailWithPath(const QString& path) {
    setPathTitle(path);
    m_listFileVC->getRootNodeListWithPath(path);
}

void DiskListWC::setArrForListWithArr(const FileNodeArrayRef& arr, const QString& searchPath) {
    setPathTitle(searchPath);
    m_listFileVC->setArrForListWithArr(arr, searchPath);
}

void DiskListWC::getSelectFilesSize(bool measuring) {
    m_isGetSelectSize = measuring;
}

bool DiskListWC::closeWindow() {
    if (m_isGetSelectSize)
        return false;
    m_listFileVC->stopAll();
    QDialog::done(QDialog::Rejected);
    return true;
}

void DiskListWC::closeWindowWithSelect(const FileNodeArrayRef& select, qint64 selectSize) {
    m_isGetSelectSize = false;
    m_listFileVC->stopAll();
    QDialog::done(QDialog::Accepted);
    if (m_delegate)
        m_delegate->closeWindowWithSelect(select, selectSize);
}

void DiskListWC::reject() {
    closeWindow();
}

void DiskListWC::closeEvent(QCloseEvent* event) {
    // The window's own ways of closing (its close button, Escape) wait for the measurement.
    // A close from outside, such as the application quitting, is not refused: it cancels.
    m_listFileVC->stopAll();
    m_isGetSelectSize = false;
    QDialog::closeEvent(event);
}
