#include "filecopy/ListFileViewController.h"

#include "filecopy/FileNodeTreeModel.h"
#include "filecopy/ListFileViewControllerDelagate.h"
#include "filecopy/NewOutlineView.h"
#include "ui/FlatButton.h"
#include "ui/ImageButton.h"
#include "ui/KitStyle.h"
#include "ui/StripedProgressBar.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr int kCheckBoxSize = 16;

} // namespace

ListFileViewController::ListFileViewController(QWidget* parent)
    : QWidget(parent), m_sortTimer(new QTimer(this)), m_outline(new NewOutlineView(this)),
      m_model(new FileNodeTreeModel(this)),
      m_refreshButton(new FlatButton(tr("Refresh"), FlatButton::Kind::Secondary)),
      m_doneButton(new FlatButton(tr("Done"))), m_waitingView(new QWidget(this)),
      m_waitingBar(new StripedProgressBar(m_waitingView)) {
    m_controller.setADelegate(this);

    m_outline->setModel(m_model);
    // The branches and the indentation go in the name column; the checkboxes stay in a line.
    m_outline->setTreePosition(FileNodeTreeModel::Name);
    m_outline->setIconSize(QSize(kCheckBoxSize, kCheckBoxSize));
    layoutColumns();
    m_selectAllButton = new ImageButton(FileNodeTreeModel::checkBoxImage(1), m_outline->header());
    m_selectAllButton->setFixedSize(kCheckBoxSize, kCheckBoxSize);
    m_selectAllButton->setAccessibleName(tr("Select all files or none"));
    m_selectAllButton->setFocusPolicy(Qt::TabFocus);
    m_outline->setAccessibleName(tr("Files to copy"));
    connect(m_selectAllButton, &QAbstractButton::clicked, this,
            &ListFileViewController::setAllSelectOrNoSelect);
    connect(m_outline->header(), &QHeaderView::geometriesChanged, this,
            &ListFileViewController::placeSelectAllButton);
    connect(m_outline->header(), &QHeaderView::sectionResized, this,
            &ListFileViewController::placeSelectAllButton);

    connect(m_outline, &NewOutlineView::cellClicked, this, &ListFileViewController::cellClicked);
    connect(m_outline, &QTreeView::expanded, this,
            [this](const QModelIndex& index) { outlineViewItemDidExpand(m_model->nodeAt(index)); });
    connect(m_outline, &QTreeView::collapsed, this,
            [this](const QModelIndex& index) { outlineViewItemDidCollapse(m_model->nodeAt(index)); });

    connect(m_refreshButton, &QAbstractButton::clicked, this, &ListFileViewController::refreshButtonAction);
    connect(m_doneButton, &QAbstractButton::clicked, this, &ListFileViewController::doneButtonAction);
    m_sortTimer->setInterval(1000);
    connect(m_sortTimer, &QTimer::timeout, this, &ListFileViewController::reloadNow);
    // Quitting ends the listings and the measurement rather than waiting for them.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            &ListFileViewController::stopAll);

    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(16, 10, 16, 14);
    buttons->addWidget(m_refreshButton);
    buttons->addStretch(1);
    buttons->addWidget(m_doneButton);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_outline, 1);
    layout->addLayout(buttons);
    setAutoFillBackground(true);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, KitStyle::windowBackground());
    setPalette(pal);

    // The waiting view covers the list while the selection is measured.
    m_waitingView->setAutoFillBackground(true);
    QPalette dim = m_waitingView->palette();
    dim.setColor(QPalette::Window, KitStyle::withAlpha(KitStyle::windowBackground(), 200));
    m_waitingView->setPalette(dim);
    m_waitingBar->setAnimated(false);
    m_waitingBar->setDoubleValue(0.999); // full, and still striping
    m_waitingView->hide();
    m_refreshButton->setEnabled(false);
    m_doneButton->setEnabled(false);
}

ListFileViewController::~ListFileViewController() {
    m_detagate = nullptr; // the window may be half gone already
    stopAll();
}

void ListFileViewController::layoutColumns() {
    QHeaderView* header = m_outline->header();
    header->setMinimumSectionSize(24);
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(FileNodeTreeModel::Path, QHeaderView::Stretch);
    header->setSectionResizeMode(FileNodeTreeModel::OpenFinder, QHeaderView::Fixed);
    header->setSectionResizeMode(FileNodeTreeModel::CheckBox, QHeaderView::Fixed);
    header->resizeSection(FileNodeTreeModel::CheckBox, 36);
    header->resizeSection(FileNodeTreeModel::Name, 260);
    header->resizeSection(FileNodeTreeModel::Size, 90);
    header->resizeSection(FileNodeTreeModel::OpenFinder, 40);
}

void ListFileViewController::placeSelectAllButton() {
    // Over the checkbox column, in line with the rows' checkboxes.
    const QHeaderView* header = m_outline->header();
    const int x = header->sectionViewportPosition(FileNodeTreeModel::CheckBox) + 4;
    m_selectAllButton->move(x, (header->height() - kCheckBoxSize) / 2);
    m_selectAllButton->raise();
}

void ListFileViewController::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    m_waitingView->setGeometry(rect());
    m_waitingBar->setGeometry((width() - 240) / 2, height() / 2 - 5, 240, 10);
    placeSelectAllButton();
}

// ---- listing

void ListFileViewController::getRootNodeListWithPath(const QString& path) {
    m_controller.stopScan();
    m_refreshButton->setEnabled(false);
    m_doneButton->setEnabled(false);
    m_searchPath = path;
    m_rootNodeArr = makeFileNodeArray();
    m_model->setRootArray(m_rootNodeArr);
    showDetailPage();
    m_controller.eumeAllRootFileNodeWithRootArr(m_rootNodeArr, path, false, false);
    setSelectAllState(1);
}

void ListFileViewController::showDetailPage() {
    m_isScan = true;
    m_sortTimer->start();
}

void ListFileViewController::setArrForListWithArr(const FileNodeArrayRef& arr, const QString& searchPath) {
    m_controller.stopScan();
    m_sortTimer->stop();
    m_isScan = false;
    m_searchPath = searchPath;
    m_rootNodeArr = arr ? arr : makeFileNodeArray();
    m_controller.setARootArr(m_rootNodeArr);
    m_model->setRootArray(m_rootNodeArr);
    // Folders that were open when the selection was made open again, so the tick rules, which
    // walk into open folders only, act on what the user sees.
    std::function<void(const FileNodeList&)> reopen = [&](const FileNodeList& nodes) {
        for (const FileNodeRef& node : nodes) {
            if (node->isExpand() && FileNodeTreeModel::isExpandable(*node)) {
                m_outline->setExpanded(m_model->indexOfNode(node.data()), true);
                reopen(node->children().toList());
            }
        }
    };
    {
        const QSignalBlocker quiet(m_outline);
        reopen(m_rootNodeArr->toList());
    }
    recomputeSelectAllState();
    m_refreshButton->setEnabled(true);
    m_doneButton->setEnabled(true);
}

void ListFileViewController::refreshButtonAction() {
    getRootNodeListWithPath(m_searchPath);
}

void ListFileViewController::reloadTreeList() {
    scheduleReload();
}

void ListFileViewController::changeSelectAllButtonState() {
    m_selectAllDirty = true;
    scheduleReload();
}

void ListFileViewController::scheduleReload() {
    if (m_reloadQueued)
        return;
    m_reloadQueued = true;
    QTimer::singleShot(0, this, &ListFileViewController::reloadNow);
}

void ListFileViewController::reloadNow() {
    m_reloadQueued = false;
    bool ended = false;
    if (m_isScan && (m_controller.isScanDone() || m_controller.getProgress() >= 100.0f)) {
        m_isScan = false;
        m_sortTimer->stop();
        m_refreshButton->setEnabled(true);
        m_doneButton->setEnabled(true);
        ended = true;
    }
    m_model->refreshTopLevel();
    m_outline->viewport()->update();
    if (m_selectAllDirty)
        recomputeSelectAllState();
    if (ended)
        Q_EMIT listingEnded();
}

void ListFileViewController::childrenWillBeAdded(FileNode* node, qsizetype count) {
    m_model->beginAddChildren(node, count);
}

void ListFileViewController::childrenAdded(FileNode* node) {
    m_model->endAddChildren(node);
}

// ---- ticking

void ListFileViewController::setSelectAllState(int state) {
    m_selectAllButSt = state;
    m_selectAllButton->setImages(FileNodeTreeModel::checkBoxImage(state));
    m_selectAllButton->update();
}

void ListFileViewController::recomputeSelectAllState() {
    m_selectAllDirty = false;
    if (!m_rootNodeArr)
        return;
    const FileNodeList top = m_rootNodeArr->toList();
    qsizetype selected = 0;
    bool anyHalf = false;
    for (const FileNodeRef& node : top) {
        if (node->state() == 1)
            ++selected;
        else if (node->state() == 2)
            anyHalf = true;
    }
    if (selected == top.size())
        setSelectAllState(1);
    else
        setSelectAllState((anyHalf || selected != 0) ? 2 : 0);
}

void ListFileViewController::setAllSelectOrNoSelect() {
    if (m_isScan || isMeasuring() || !m_rootNodeArr)
        return;
    const int state = m_selectAllButSt == 1 ? 0 : 1;
    setSelectAllState(state);
    for (const FileNodeRef& node : m_rootNodeArr->toList()) {
        node->setState(state);
        changeNodeState(node.data());
    }
    scheduleReload();
}

void ListFileViewController::changeNodeState(FileNode* node) {
    if (!node->isExpand())
        return;
    for (const FileNodeRef& child : node->children().toList()) {
        child->setState(node->state());
        changeNodeState(child.data());
    }
}

void ListFileViewController::outlineViewSetObjectValue(FileNode* item) {
    if (!item || m_isScan || isMeasuring() || m_model->isSystemFile(item))
        return;
    // A half-selected item becomes selected; only a selected one is cleared.
    const bool select = item->state() != 1;
    item->setState(select ? 1 : 0);
    if (item->isExpand())
        m_controller.changeSelectWithNode(item, select);
    m_controller.changeFatherNodeSelectStateWithFileNode(item, select);
}

void ListFileViewController::outlineViewItemDidExpand(FileNode* item) {
    m_outline->setHighlightedRow(-1);
    if (!item)
        return;
    item->setIsExpand(true);
    if (item->children().isEmpty())
        m_controller.getNodeListWithFaterNode(item);
    else if (item->state() != 2)
        m_controller.changeSelectWithNode(item, item->state() == 1);
}

void ListFileViewController::outlineViewItemDidCollapse(FileNode* item) {
    m_outline->setHighlightedRow(-1);
    if (item)
        item->setIsExpand(false);
}

void ListFileViewController::cellClicked(const QModelIndex& index) {
    FileNode* node = m_model->nodeAt(index);
    if (!node)
        return;
    if (index.column() == FileNodeTreeModel::CheckBox) {
        node->setCheckBoxRect(m_outline->visualRect(index));
        outlineViewSetObjectValue(node);
    } else if (index.column() == FileNodeTreeModel::OpenFinder) {
        m_controller.openFileWithFileNode(node);
    }
}

// ---- measuring

void ListFileViewController::doneButtonAction() {
    if (m_isScan || isMeasuring() || !m_rootNodeArr)
        return;
    // Folders still being listed are taken whole or not at all, by their own tick.
    m_controller.stopScan();
    m_waitingView->setGeometry(rect());
    m_waitingView->raise();
    m_waitingView->show();
    m_doneButton->setEnabled(false);
    m_refreshButton->setEnabled(false);
    if (m_detagate)
        m_detagate->getSelectFilesSize(true);
    m_sizer = GetFilesSize::create();
    m_sizer->setDelegate(this);
    m_sizer->getSelectionSizeWithArr(m_rootNodeArr->toList());
}

void ListFileViewController::allCopyFilesSize(qint64 size) {
    m_waitingView->hide();
    m_sizer.reset();
    m_doneButton->setEnabled(true);
    m_refreshButton->setEnabled(true);
    if (m_detagate)
        m_detagate->closeWindowWithSelect(m_rootNodeArr, size);
}

void ListFileViewController::stopAll() {
    m_controller.stopScan();
    if (m_isScan) {
        // An unfinished top level cannot be handed back; it can be listed again.
        m_isScan = false;
        m_sortTimer->stop();
        m_refreshButton->setEnabled(true);
        m_doneButton->setEnabled(false);
    }
    if (m_sizer) {
        m_sizer->cancelPass();
        m_sizer->setDelegate(nullptr);
        m_sizer.reset();
        m_waitingView->hide();
        m_doneButton->setEnabled(true);
        m_refreshButton->setEnabled(true);
        if (m_detagate)
            m_detagate->getSelectFilesSize(false);
    }
}
