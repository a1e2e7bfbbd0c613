#pragma once

#include <QStringList>

class QObject;

// What the drop target of a slot reports: the paths of a drop of file names, in the order of
// the drop, and a click on it.
class DragViewDelegate {
public:
    virtual ~DragViewDelegate() = default;
    virtual void viewDragAction(const QStringList& paths) = 0;
    virtual void selectFileButtonAction(QObject* sender) = 0;
};
