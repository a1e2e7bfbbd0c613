#pragma once

#include <QTableWidget>

// What screen readers see of the kit's painted widgets: a PressableView is a button with a press
// action (and "selected" while it is the chosen one), a StripedProgressBar a progress bar with
// its value in per cent. Standard widgets need only their accessible names. Installed once by
// the application object, before any window shows.
namespace Accessibility {
void install();
} // namespace Accessibility

// A table whose rows are widgets of their own (one cell widget a row): a screen reader walks
// those widgets, which the cells of a plain table would hide.
class WidgetRowsTable : public QTableWidget {
    Q_OBJECT
public:
    using QTableWidget::QTableWidget;
};
