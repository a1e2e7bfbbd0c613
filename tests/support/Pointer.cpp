#include "Pointer.h"

#include <QCoreApplication>
#include <QEnterEvent>
#include <QTest>
#include <QWidget>

void hover(QWidget* widget, bool in) {
    if (in) {
        QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), widget->mapToGlobal(QPointF(5, 5)));
        QCoreApplication::sendEvent(widget, &enter);
    } else {
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(widget, &leave);
    }
}

void click(QWidget* widget) {
    QTest::mouseClick(widget, Qt::LeftButton, {}, QPoint(widget->width() / 2, widget->height() / 2));
}
