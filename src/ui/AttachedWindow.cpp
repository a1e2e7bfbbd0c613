#include "ui/AttachedWindow.h"

#include "ui/KitStyle.h"

#include <QCloseEvent>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>

AttachedWindow::AttachedWindow(QWidget* content, QPoint point, QWidget* hostWindow, int distance)
    : QWidget(hostWindow ? hostWindow->window() : nullptr), m_content(content), m_host(hostWindow),
      m_point(point), m_distance(distance) {
    if (!parentWidget())
        setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_DeleteOnClose);

    KitStyle::addPanelShadow(this);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    if (content)
        layout->addWidget(content);

    if (parentWidget())
        parentWidget()->installEventFilter(this);
    adjustSize();
    place();
    show();
    raise();
}

AttachedWindow::~AttachedWindow() = default;

QWidget* AttachedWindow::content() const {
    return m_content;
}

void AttachedWindow::setPoint(QPoint point) {
    m_point = point;
    place();
}

QPoint AttachedWindow::middleTop(QWidget* hostWindow) {
    if (!hostWindow)
        return QPoint();
    return QPoint(hostWindow->width() / 2 - 3, 0);
}

void AttachedWindow::place() {
    QPoint anchor = m_point;
    QWidget* top = parentWidget();
    if (m_host && top && m_host != top)
        anchor = m_host->mapTo(top, m_point);
    else if (m_host && !top)
        anchor = m_host->mapToGlobal(m_point);
    int x = anchor.x() - width() / 2;
    int y = anchor.y() + m_distance;
    // Keep the panel inside the window it is attached to as long as it fits there.
    if (top) {
        if (width() <= top->width())
            x = std::clamp(x, 0, top->width() - width());
        if (height() <= top->height())
            y = std::clamp(y, 0, top->height() - height());
    }
    move(x, y);
}

void AttachedWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(KitStyle::panelBorder(), 1));
    painter.setBrush(KitStyle::panelBackground());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kCornerRadius, kCornerRadius);
}

void AttachedWindow::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    if (!event->isAccepted() || m_closed)
        return;
    m_closed = true;
    Q_EMIT closed();
}

bool AttachedWindow::event(QEvent* event) {
    const bool handled = QWidget::event(event);
    // The content may grow or shrink while shown (a popup switching views): stay centred.
    if (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest)
        place();
    return handled;
}

bool AttachedWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        place();
    return QWidget::eventFilter(watched, event);
}
