#pragma once

#include <QTreeView>

// The file list's outline: a tree view that remembers a highlighted row (the row under the
// pointer, -1 for none) and reports clicks on a cell by column.
class NewOutlineView : public QTreeView {
    Q_OBJECT
public:
    explicit NewOutlineView(QWidget* parent = nullptr);

    int highlightedRow() const { return m_highlightedRow; }
    void setHighlightedRow(int row);

Q_SIGNALS:
    // A click released on the cell it was pressed on (not on a row's arrow).
    void cellClicked(const QModelIndex& index);

protected:
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;

private:
    int m_highlightedRow = -1;
};
