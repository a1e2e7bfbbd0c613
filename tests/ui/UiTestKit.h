#pragma once

#include <QSize>
#include <QString>
#include <QStringList>

class QWidget;

namespace UiTestKit {

// Gives a test window the program's window colours.
void paintAsWindow(QWidget* widget);
// Resizes and shows a test window; true once it is on screen.
bool showSized(QWidget* widget, QSize size);
// Lets pending events, deferred deletes included, run.
void flushEvents();

} // namespace UiTestKit
