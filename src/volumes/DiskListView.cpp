#include "volumes/DiskListView.h"

#include "ui/KitStyle.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

DiskListView::DiskListView(QWidget* parent) : PressableView(parent) {
    setAttribute(Qt::WA_Hover);
    setMouseTracking(true);
    setCursor(Qt::PointingHandCursor);
}

void DiskListView::enterEvent(QEnterEvent* event) {
    m_mouseIn = true;
    if (diskViewDelegate)
        diskViewDelegate->mouseInView();
    update();
    QWidget::enterEvent(event);
}

void DiskListView::leaveEvent(QEvent* event) {
    m_mouseIn = false;
    if (diskViewDelegate)
        diskViewDelegate->mouseOutView();
    update();
    QWidget::leaveEvent(event);
}

void DiskListView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    press();
}

void DiskListView::press() {
    if (diskViewDelegate)
        diskViewDelegate->doSelectDisk();
}

void DiskListView::paintEvent(QPaintEvent*) {
    if (m_mouseIn) {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath plate;
        plate.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
        painter.fillPath(plate, KitStyle::rowHover());
    }
    paintFocus();
}
