#include "UiTestKit.h"

#include <QCoreApplication>
#include <QTest>
#include <QWidget>

#include "ui/KitStyle.h"

namespace UiTestKit {

void paintAsWindow(QWidget* widget) {
    QPalette p = widget->palette();
    p.setColor(QPalette::Window, KitStyle::windowBackground());
    p.setColor(QPalette::WindowText, KitStyle::textPrimary());
    widget->setPalette(p);
    widget->setAutoFillBackground(true);
}

bool showSized(QWidget* widget, QSize size) {
    widget->resize(size);
    widget->show();
    return QTest::qWaitForWindowExposed(widget);
}

void flushEvents() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace UiTestKit
