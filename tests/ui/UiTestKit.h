#pragma once

#include "ui/KitStyle.h"

#include <QCoreApplication>
#include <QTest>
#include <QWidget>

namespace UiTestKit {

// Gives a test window the program's window colours.
inline void paintAsWindow(QWidget* widget) {
    QPalette p = widget->palette();
    p.setColor(QPalette::Window, KitStyle::windowBackground());
    p.setColor(QPalette::WindowText, KitStyle::textPrimary());
    widget->setPalette(p);
    widget->setAutoFillBackground(true);
}

// Resizes and shows a test window; true once it is on screen.
inline bool showSized(QWidget* widget, QSize size) {
    widget->resize(size);
    widget->show();
    return QTest::qWaitForWindowExposed(widget);
}

// Lets pending events, deferred deletes included, run.
inline void flushEvents() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace UiTestKit
