#pragma once

class QWidget;

// Moves the pointer onto a widget (an Enter event at (5, 5)) or off it (a Leave event), as
// the window system reports it; the offscreen platform has no pointer of its own.
void hover(QWidget* widget, bool in = true);
// A left click in the middle of a widget.
void click(QWidget* widget);
