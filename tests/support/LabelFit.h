#pragma once

#include <QStringList>

class QWidget;

// Labels that show a text cut off: wider than the label (font metrics against geometry) without
// "…" in what they show. A word-wrapped label is cut when one of its words is wider than it.
// Walks the visible labels under `root`; each finding reads "objectName/class: text".
QStringList labelsCutWithoutEllipsis(const QWidget* root);
