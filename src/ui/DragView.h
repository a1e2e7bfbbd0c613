#pragma once

#include <QWidget>

class DragViewDelegate;
class QMimeData;

// The drop target of a slot. A drag is welcomed with the copy action whatever it carries; on
// the drop, local file names go to the delegate in the order of the drag, picture data without
// file names only redraws, and anything else is refused (and logged). A click on the view is
// reported too.
class DragView : public QWidget {
    Q_OBJECT
public:
    explicit DragView(QWidget* parent = nullptr);

    void setDelegate(DragViewDelegate* delegate) { m_delegate = delegate; }
    DragViewDelegate* delegate() const { return m_delegate; }
    // While a drag hovers over the view (the slot shows it).
    bool isDragHovering() const { return m_hovering; }

    // What a drop of this data does: true when it is taken (file names handed on, or image data
    // redrawn), false when it is refused. Public so that a drop can be replayed without a drag.
    bool performDragOperation(const QMimeData* data);

Q_SIGNALS:
    void dragHoverChanged(bool hovering);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void setHovering(bool hovering);

    DragViewDelegate* m_delegate = nullptr;
    bool m_hovering = false;
    bool m_pressed = false;
};
