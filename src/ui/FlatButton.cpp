#include "ui/FlatButton.h"

#include "ui/KitStyle.h"

using namespace KitStyle;

FlatButton::FlatButton(const QString& text, Kind kind, QWidget* parent)
    : QPushButton(text, parent), m_kind(kind) {
    setCursor(Qt::PointingHandCursor);
    setFont(KitStyle::font(13));
    applyStyle();
}

void FlatButton::setKind(Kind kind) {
    m_kind = kind;
    applyStyle();
}

QSize FlatButton::sizeHint() const {
    const QSize base = QPushButton::sizeHint();
    return QSize(qMax(base.width() + 24, 110), 32);
}

void FlatButton::applyStyle() {
    const bool primary = m_kind == Kind::Primary;
    const QString fill = css(primary ? accent() : panelBorder());
    const QString hover = css(primary ? accent().lighter(112) : panelBorder().lighter(125));
    const QString pressed = css(primary ? accentPressed() : panelBorder().darker(115));
    setStyleSheet(QStringLiteral("QPushButton { background: %1; color: %4; border: none; border-radius: 7px;"
                                 " padding: 0 14px; }"
                                 "QPushButton:hover { background: %2; }"
                                 "QPushButton:pressed { background: %3; }"
                                 "QPushButton:disabled { background: %5; color: %6; }")
                      .arg(fill, hover, pressed, css(textPrimary()), css(trackBackground()),
                           css(stepInactive().lighter(130))));
}
