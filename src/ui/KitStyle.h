#pragma once

#include "ui/PanelShadow.h"

#include <QColor>
#include <QFont>
#include <QLabel>
#include <QWidget>

// The look every screen shares: one calm dark palette with a single blue accent. Screens take
// their colours and fonts from here so that a change of look is made in one place.
namespace KitStyle {

// A colour made see-through: alpha from 0 (clear) to 255 (solid).
inline QColor withAlpha(QColor colour, int alpha) {
    colour.setAlpha(alpha);
    return colour;
}

inline QColor windowBackground() {
    return QColor(38, 39, 43);
}
inline QColor sidebarBackground() {
    return QColor(30, 31, 34);
}
inline QColor panelBackground() {
    return QColor(47, 48, 52);
}
inline QColor panelBorder() {
    return QColor(64, 65, 70);
}
inline QColor fieldBackground() {
    return QColor(33, 34, 38);
}
inline QColor rowHover() {
    return QColor(67, 67, 67);
}
inline QColor separator() {
    return QColor(56, 57, 62);
}

inline QColor textPrimary() {
    return QColor(232, 232, 235);
}
inline QColor textSecondary() {
    return QColor(160, 161, 166);
}
inline QColor heading() {
    return QColor(129, 129, 129);
}
// Plain white: the lit row of a menu.
inline QColor textLit() {
    return QColor(255, 255, 255);
}
// Dimmed white: a value shown that cannot be changed.
inline QColor textLocked() {
    return withAlpha(textLit(), 51);
}

inline QColor accent() {
    return QColor(58, 147, 252);
}
inline QColor accentPressed() {
    return QColor(40, 118, 214);
}
inline QColor stepInactive() {
    return QColor(99, 99, 99);
}
inline QColor link() {
    return QColor(2, 125, 255);
}
inline QColor error() {
    return QColor(229, 83, 75);
}
// The faint wash of the error colour behind a control in error.
inline QColor errorTint() {
    return withAlpha(error(), 28);
}
inline QColor trackBackground() {
    return QColor(62, 63, 68);
}
// The light bands moving over the filled part of a striped progress bar.
inline QColor progressStripe() {
    return withAlpha(textPrimary(), 42);
}
// The shadow under the floating panels.
inline QColor panelShadow() {
    return QColor(0, 0, 0, 150);
}

// The system font at a point size, optionally bold.
inline QFont font(double pointSize, bool bold = false) {
    QFont f;
    f.setPointSizeF(pointSize);
    f.setBold(bold);
    return f;
}

// Colour as a style sheet value.
inline QString css(const QColor& c) {
    return c.name(c.alpha() == 255 ? QColor::HexRgb : QColor::HexArgb);
}

// A label in the kit's font and colour, showing whatever lies behind it. Screens add their own
// alignment, wrapping and text format.
inline QLabel* label(const QString& text, double pointSize, bool bold, const QColor& colour,
                     QWidget* parent) {
    auto* made = new QLabel(text, parent);
    made->setFont(font(pointSize, bold));
    made->setStyleSheet(QStringLiteral("color: %1; background: transparent;").arg(css(colour)));
    return made;
}

// The soft shadow under the panels that float over the window (popovers, attached windows).
inline void addPanelShadow(QWidget* panel) {
    if (panel->parentWidget())
        new PanelShadow(panel);
}

// Style sheet rules for the lists' thin vertical scroll bar: a rounded handle on a clear track,
// without arrow buttons.
inline QString thinScrollBar(int width = 8) {
    return QStringLiteral(
               "QScrollBar:vertical { background: transparent; width: %1px; margin: 2px; }"
               "QScrollBar::handle:vertical { background: %2; border-radius: 2px; min-height: 24px; }"
               "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
               "QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }")
        .arg(width)
        .arg(css(textSecondary()));
}

} // namespace KitStyle
