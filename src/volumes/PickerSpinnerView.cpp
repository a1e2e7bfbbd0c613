#include "volumes/PickerSpinnerView.h"

#include "ui/KitStyle.h"

#include <QPainter>
#include <QTimer>

namespace {
constexpr int kSpokes = 12;
constexpr int kStepMs = 80;
} // namespace

PickerSpinnerView::PickerSpinnerView(QWidget* parent) : QWidget(parent), m_timer(new QTimer(this)) {
    m_timer->setInterval(kStepMs);
    connect(m_timer, &QTimer::timeout, this, [this] {
        m_step = (m_step + 1) % kSpokes;
        update();
    });
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void PickerSpinnerView::startAnimation() {
    m_timer->start();
}

void PickerSpinnerView::stopAnimation() {
    m_timer->stop();
}

bool PickerSpinnerView::isAnimating() const {
    return m_timer->isActive();
}

void PickerSpinnerView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = qMin(width(), height());
    painter.translate(width() / 2.0, height() / 2.0);
    const qreal outer = side / 2.0;
    const qreal inner = outer * 0.45;
    QColor color = KitStyle::textPrimary();
    for (int i = 0; i < kSpokes; ++i) {
        // The spoke at the current step is brightest; the ones behind it fade out.
        const int age = (m_step - i + kSpokes) % kSpokes;
        color.setAlphaF(1.0 - 0.8 * age / (kSpokes - 1));
        painter.setPen(QPen(color, side / 12.0, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -inner), QPointF(0, -outer + side / 16.0));
        painter.rotate(360.0 / kSpokes);
    }
}
