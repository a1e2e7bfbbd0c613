#include "app/SideTabButton.h"

#include "ui/Artwork.h"
#include "ui/KitStyle.h"

#include <QFontMetricsF>
#include <QPainter>

namespace {
constexpr int kIconSize = 24;
constexpr int kIconLeft = 24;
constexpr int kTextLeft = 60;
} // namespace

SideTabButton::SideTabButton(const QString& text, const QString& iconImage, QWidget* parent)
    : QAbstractButton(parent), m_icon(iconImage) {
    setText(text);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setAccessibleName(tr("Show %1").arg(text));
    setAttribute(Qt::WA_Hover);
}

void SideTabButton::setActive(bool active) {
    if (m_active == active)
        return;
    m_active = active;
    update();
}

QString SideTabButton::currentIconImage() const {
    return m_active ? m_icon + QStringLiteral("_sel") : m_icon;
}

QSize SideTabButton::sizeHint() const {
    return QSize(220, 52);
}

void SideTabButton::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    update();
    QAbstractButton::enterEvent(event);
}

void SideTabButton::leaveEvent(QEvent* event) {
    m_hovered = false;
    update();
    QAbstractButton::leaveEvent(event);
}

void SideTabButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF iconRect(kIconLeft, (height() - kIconSize) / 2.0, kIconSize, kIconSize);
    QString icon = currentIconImage();
    if (!Artwork::exists(icon))
        icon = m_icon;
    Artwork::paint(painter, icon, iconRect);

    QColor color = m_active ? KitStyle::textPrimary() : KitStyle::textSecondary();
    if (!m_active && m_hovered)
        color = color.lighter(125);
    painter.setPen(color);
    const QRect textRect(kTextLeft, 0, width() - kTextLeft - 6, height());
    // 13 points, a little smaller where the screen's fonts run wide, so no name is cut.
    QFont font = KitStyle::font(13);
    while (font.pointSizeF() > 10 && QFontMetricsF(font).horizontalAdvance(text()) > textRect.width())
        font.setPointSizeF(font.pointSizeF() - 0.5);
    painter.setFont(font);
    painter.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, text());
    if (hasFocus()) {
        painter.setPen(QPen(KitStyle::accent(), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(2, 2, -2, -2), 6, 6);
    }
}
