#pragma once

#include "ui/PressableView.h"

// What a drive row's background view asks of its owner. Every operation is optional.
class DiskListViewDelegate {
public:
    virtual ~DiskListViewDelegate() = default;
    virtual void mouseInView() {}
    virtual void mouseOutView() {}
    virtual void doSelectDisk() {}
};

// The background of one drive row: follows the pointer over its whole bounds, draws a rounded
// dark plate while the pointer is over it, and reports enter, exit and clicks to its delegate.
class DiskListView : public PressableView {
    Q_OBJECT
public:
    explicit DiskListView(QWidget* parent = nullptr);

    bool mouseIn() const { return m_mouseIn; }
    void setDiskViewDelegate(DiskListViewDelegate* delegate) { diskViewDelegate = delegate; }
    // A click, Space or Return, or a screen reader's press: the drive is chosen.
    void press() override;

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool m_mouseIn = false;
    DiskListViewDelegate* diskViewDelegate = nullptr; // not owned
};
