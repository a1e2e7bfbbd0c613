#include "filecopy/NewOutlineView.h"

#include "ui/KitStyle.h"

#include <QHeaderView>
#include <QMouseEvent>
#include <QPainter>

NewOutlineView::NewOutlineView(QWidget* parent) : QTreeView(parent) {
    // Every row has the same height, so a hundred thousand rows lay out without asking each
    // for its size; columns are sized by hand for the same reason.
    setUniformRowHeights(true);
    setMouseTracking(true);
    setAllColumnsShowFocus(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    header()->setStretchLastSection(false);
    header()->setSectionsMovable(false);
    setStyleSheet(QStringLiteral("QTreeView { background: %1; color: %2; border: none; "
                                 "alternate-background-color: %3; selection-background-color: %4; }"
                                 "QHeaderView::section { background: %5; color: %6; border: none; "
                                 "padding: 4px; }")
                      .arg(KitStyle::css(KitStyle::fieldBackground()), KitStyle::css(KitStyle::textPrimary()),
                           KitStyle::css(KitStyle::panelBackground()),
                           KitStyle::css(KitStyle::accentPressed()),
                           KitStyle::css(KitStyle::panelBackground()), KitStyle::css(KitStyle::heading())) +
                  KitStyle::thinScrollBar());
    setAlternatingRowColors(true);
    connect(this, &QAbstractItemView::clicked, this, &NewOutlineView::cellClicked);
}

void NewOutlineView::setHighlightedRow(int row) {
    if (row == m_highlightedRow)
        return;
    m_highlightedRow = row;
    viewport()->update();
}

void NewOutlineView::mouseMoveEvent(QMouseEvent* event) {
    const QModelIndex index = indexAt(event->position().toPoint());
    // Rows are numbered as drawn: the visual position of the row under the pointer.
    setHighlightedRow(index.isValid() ? visualRect(index).top() / qMax(1, rowHeight(index)) : -1);
    QTreeView::mouseMoveEvent(event);
}

void NewOutlineView::leaveEvent(QEvent* event) {
    setHighlightedRow(-1);
    QTreeView::leaveEvent(event);
}

void NewOutlineView::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
    if (m_highlightedRow >= 0 && option.rect.top() / qMax(1, option.rect.height()) == m_highlightedRow)
        painter->fillRect(option.rect, KitStyle::rowHover());
    QTreeView::drawRow(painter, option, index);
}
