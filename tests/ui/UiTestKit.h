#pragma once

#include <QSize>
#include <QString>
#include <QStringList>

class QImage;
class QWidget;

namespace UiTestKit {

// Every picture the screens ask for by name.
QStringList artworkNames();
// Number of pixels that are not fully transparent.
int opaquePixels(const QImage& image);
// Gives a test window the program's window colours.
void paintAsWindow(QWidget* widget);
// Resizes and shows a test window; true once it is on screen.
bool showSized(QWidget* widget, QSize size);
// Lets pending events, deferred deletes included, run.
void flushEvents();

} // namespace UiTestKit
