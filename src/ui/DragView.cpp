#include "ui/DragView.h"

#include "core/ConsoleLog.h"
#include "ui/DragViewDelegate.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>

namespace {

const QString kTiff = QStringLiteral("image/tiff");

// True when the drag carries picture data rather than files (a picture dragged out of a
// document or a browser).
bool carriesImage(const QMimeData* data) {
    return data->hasFormat(kTiff) || data->hasImage();
}

// The local file names of the drag, in its order; empty when it holds none.
QStringList fileNames(const QMimeData* data) {
    QStringList paths;
    if (!data->hasUrls())
        return paths;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    }
    return paths;
}

// A drag is welcomed as a copy whatever it holds (what it holds is judged on the drop), when
// the source allows a copy at all.
bool welcomeAsCopy(QDragMoveEvent* event) {
    if (!(event->possibleActions() & Qt::CopyAction)) {
        event->ignore();
        return false;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    return true;
}

} // namespace

DragView::DragView(QWidget* parent) : QWidget(parent) {
    setAcceptDrops(true);
    setCursor(Qt::PointingHandCursor);
}

void DragView::dragEnterEvent(QDragEnterEvent* event) {
    if (welcomeAsCopy(event))
        setHovering(true);
}

void DragView::dragMoveEvent(QDragMoveEvent* event) {
    welcomeAsCopy(event);
}

void DragView::dragLeaveEvent(QDragLeaveEvent* event) {
    setHovering(false);
    QWidget::dragLeaveEvent(event);
}

void DragView::dropEvent(QDropEvent* event) {
    setHovering(false);
    if (performDragOperation(event->mimeData())) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

bool DragView::performDragOperation(const QMimeData* data) {
    // A drag that names files is a drop of those files, whatever pictures come along with it.
    const QStringList paths = data ? fileNames(data) : QStringList();
    if (!paths.isEmpty()) {
        if (m_delegate)
            m_delegate->viewDragAction(paths);
        return true;
    }
    if (data && carriesImage(data)) {
        if (data->data(kTiff).isEmpty() && data->imageData().isNull()) {
            QvConsoleLog("Error: MyNSView performDragOperation zPasteboardData == nil");
            return false;
        }
        update();
        return true;
    }
    QvConsoleLog("Error MyNSView performDragOperation");
    return false;
}

void DragView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        m_pressed = true;
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void DragView::mouseReleaseEvent(QMouseEvent* event) {
    const bool click =
        m_pressed && event->button() == Qt::LeftButton && rect().contains(event->position().toPoint());
    m_pressed = false;
    if (click && m_delegate) {
        m_delegate->selectFileButtonAction(this);
        return;
    }
    QWidget::mouseReleaseEvent(event);
}

void DragView::setHovering(bool hovering) {
    if (m_hovering == hovering)
        return;
    m_hovering = hovering;
    Q_EMIT dragHoverChanged(hovering);
    update();
}
