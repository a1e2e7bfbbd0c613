#include "ui/ElidedLabel.h"

#include <QEvent>

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setWordWrap(false);
    // Takes the room its layout gives it; a long name does not widen its parent.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void ElidedLabel::setFullText(const QString& text) {
    m_fullText = text;
    elide();
}

void ElidedLabel::setWholeTextTip(bool always) {
    m_wholeTextTip = always;
    elide();
}

QSize ElidedLabel::minimumSizeHint() const {
    return QSize(0, QLabel::minimumSizeHint().height());
}

void ElidedLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    elide();
}

void ElidedLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        elide();
}

void ElidedLabel::elide() {
    const int room = contentsRect().width() - 2 * margin() - (indent() > 0 ? indent() : 0);
    // A label its layout has not sized yet keeps the whole text until it is given room.
    const QString shown =
        room <= 0 ? m_fullText : fontMetrics().elidedText(m_fullText, Qt::ElideMiddle, room);
    if (shown != text())
        setText(shown);
    setToolTip(shown == m_fullText && !m_wholeTextTip ? QString() : m_fullText);
}
