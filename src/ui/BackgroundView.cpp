#include "ui/BackgroundView.h"

#include <QPainter>
#include <QPainterPath>

BackgroundView::BackgroundView(const QColor& fill, QWidget* parent) : QWidget(parent), m_fill(fill) {}

void BackgroundView::setFill(const QColor& fill) {
    m_fill = fill;
    update();
}

void BackgroundView::setBorder(const QColor& color, qreal width) {
    m_border = color;
    m_borderWidth = width;
    update();
}

void BackgroundView::setCornerRadius(qreal radius) {
    m_radius = radius;
    update();
}

void BackgroundView::paintEvent(QPaintEvent*) {
    if (!m_fill.isValid() && !m_border.isValid())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal inset = m_border.isValid() ? m_borderWidth / 2 : 0;
    const QRectF r = QRectF(rect()).adjusted(inset, inset, -inset, -inset);
    painter.setPen(m_border.isValid() ? QPen(m_border, m_borderWidth) : QPen(Qt::NoPen));
    painter.setBrush(m_fill.isValid() ? QBrush(m_fill) : QBrush(Qt::NoBrush));
    painter.drawRoundedRect(r, m_radius, m_radius);
}
