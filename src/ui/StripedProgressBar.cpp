#include "ui/StripedProgressBar.h"

#include "ui/KitStyle.h"

#include <QPainter>
#include <QPainterPath>
#include <QTimer>
#include <QVariantAnimation>

#include <algorithm>
#include <cmath>

StripedProgressBar::StripedProgressBar(QWidget* parent)
    : QWidget(parent), m_timer(new QTimer(this)), m_glide(new QVariantAnimation(this)) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_timer->setInterval(kFrameMs);
    connect(m_timer, &QTimer::timeout, this, [this] {
        m_phase = (m_phase + 1) % kStripePeriod;
        update();
    });
    m_glide->setDuration(kGlideMs);
    m_glide->setEasingCurve(QEasingCurve::OutCubic);
    connect(m_glide, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
        m_shown = v.toDouble();
        update();
    });
}

void StripedProgressBar::setDoubleValue(double value) {
    if (std::isnan(value))
        value = 0.0;
    value = std::clamp(value, 0.0, 1.0);
    m_target = value;
    m_glide->stop();
    // Going back (a new run) never glides: the bar starts empty at once.
    if (m_animated && isVisible() && value > m_shown) {
        m_glide->setStartValue(m_shown);
        m_glide->setEndValue(value);
        m_glide->start();
    } else {
        m_shown = value;
        update();
    }
    updateTimer();
}

void StripedProgressBar::setAnimated(bool animated) {
    m_animated = animated;
    if (!animated && m_glide->state() == QAbstractAnimation::Running) {
        m_glide->stop();
        m_shown = m_target;
        update();
    }
    updateTimer();
}

bool StripedProgressBar::isStriping() const {
    return m_timer->isActive();
}

void StripedProgressBar::updateTimer() {
    const bool run = m_animated && isVisible() && m_target < 1.0;
    if (run && !m_timer->isActive())
        m_timer->start();
    else if (!run)
        m_timer->stop();
}

QSize StripedProgressBar::sizeHint() const {
    return QSize(320, 10);
}

void StripedProgressBar::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    updateTimer();
}

void StripedProgressBar::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    updateTimer();
    if (m_glide->state() == QAbstractAnimation::Running) {
        m_glide->stop();
        m_shown = m_target;
    }
}

void StripedProgressBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect());
    const qreal radius = track.height() / 2;
    QPainterPath trackPath;
    trackPath.addRoundedRect(track, radius, radius);
    painter.fillPath(trackPath, KitStyle::trackBackground());

    const qreal fillWidth = track.width() * m_shown;
    if (fillWidth <= 0)
        return;
    // A sliver narrower than the rounded end is drawn as a short capsule all the same.
    const QRectF fill(track.left(), track.top(), std::max(fillWidth, track.height()), track.height());
    QPainterPath fillPath;
    fillPath.addRoundedRect(fill, radius, radius);
    painter.fillPath(fillPath, KitStyle::accent());

    painter.save();
    painter.setClipPath(fillPath);
    const QColor stripe = KitStyle::progressStripe();
    const qreal h = track.height();
    const qreal width = kStripePeriod / 2.0;
    for (qreal x = fill.left() - 2 * h - kStripePeriod + m_phase; x < fill.right() + h; x += kStripePeriod) {
        QPolygonF band;
        band << QPointF(x, fill.bottom()) << QPointF(x + width, fill.bottom())
             << QPointF(x + width + h, fill.top()) << QPointF(x + h, fill.top());
        painter.setPen(Qt::NoPen);
        painter.setBrush(stripe);
        painter.drawPolygon(band);
    }
    painter.restore();
}
