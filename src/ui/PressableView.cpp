#include "ui/PressableView.h"

#include "ui/KitStyle.h"

#include <QKeyEvent>
#include <QPainter>

PressableView::PressableView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
}

void PressableView::keyPressEvent(QKeyEvent* event) {
    if (event->modifiers() == Qt::NoModifier &&
        (event->key() == Qt::Key_Space || event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        press();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

void PressableView::focusInEvent(QFocusEvent* event) {
    update();
    QWidget::focusInEvent(event);
}

void PressableView::focusOutEvent(QFocusEvent* event) {
    update();
    QWidget::focusOutEvent(event);
}

void PressableView::paintFocus() {
    if (!hasFocus())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(KitStyle::accent(), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 6, 6);
}
