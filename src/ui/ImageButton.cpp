#include "ui/ImageButton.h"

#include "ui/Artwork.h"
#include "ui/KitStyle.h"

#include <QEnterEvent>
#include <QPainter>

ImageButton::ImageButton(const QString& normalImage, QWidget* parent)
    : QAbstractButton(parent), m_normal(normalImage), m_textColor(KitStyle::textPrimary()) {
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
}

void ImageButton::setImages(const QString& normal, const QString& hover, const QString& pressed,
                            const QString& disabled) {
    m_normal = normal;
    m_hover = hover;
    m_pressed = pressed;
    m_disabled = disabled;
    updateGeometry();
    update();
}

QString ImageButton::currentImage() const {
    if (!isEnabled())
        return m_disabled.isEmpty() ? m_normal : m_disabled;
    if (isDown() && !m_pressed.isEmpty())
        return m_pressed;
    if (m_hovered && !m_hover.isEmpty())
        return m_hover;
    return m_normal;
}

void ImageButton::setTextColor(const QColor& color) {
    m_textColor = color;
    update();
}

void ImageButton::setTextPointSize(double pointSize) {
    m_textPointSize = pointSize;
    update();
}

void ImageButton::setStretch(bool stretch) {
    m_stretch = stretch;
    update();
}

QSize ImageButton::sizeHint() const {
    const QSize natural = Artwork::naturalSize(m_normal);
    return natural.isEmpty() ? QSize(24, 24) : natural;
}

void ImageButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled() && m_disabled.isEmpty())
        painter.setOpacity(0.45);
    Artwork::paint(painter, currentImage(), rect(), !m_stretch);
    if (!text().isEmpty()) {
        painter.setFont(KitStyle::font(m_textPointSize));
        painter.setPen(m_textColor);
        painter.drawText(rect(), Qt::AlignCenter, text());
    }
    // Reached with Tab: a ring shows where Space will act.
    if (hasFocus()) {
        painter.setOpacity(1);
        painter.setPen(QPen(KitStyle::accent(), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 5, 5);
    }
}

void ImageButton::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    update();
    QAbstractButton::enterEvent(event);
}

void ImageButton::leaveEvent(QEvent* event) {
    m_hovered = false;
    update();
    QAbstractButton::leaveEvent(event);
}
