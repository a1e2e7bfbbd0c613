#include "volumes/DiskUsageBarView.h"

#include "ui/KitStyle.h"

#include <QPainter>

#include <algorithm>

namespace {
// From this much used on, the bar warns in the error colour.
constexpr double kNearlyFull = 90;
} // namespace

DiskUsageBarView::DiskUsageBarView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void DiskUsageBarView::setValue(double value) {
    m_value = std::clamp(value, 0.0, 100.0);
    update();
}

void DiskUsageBarView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const qreal radius = height() / 2.0;
    painter.setBrush(KitStyle::trackBackground());
    painter.drawRoundedRect(rect(), radius, radius);
    if (m_value <= 0)
        return;
    // A sliver stays visible however small the value, so a nearly empty disk still shows one.
    const qreal width = std::max<qreal>(height(), this->width() * m_value / 100.0);
    painter.setBrush(m_value >= kNearlyFull ? KitStyle::error() : KitStyle::accent());
    painter.drawRoundedRect(QRectF(0, 0, width, height()), radius, radius);
}
