#pragma once

#include <QWidget>

// A painted view that acts on a click as a whole (a drive row, a volume row). It takes the
// keyboard focus with Tab: Space and Return then do what a click does, and a screen reader sees a
// button that it can press, named by the view's accessible name.
class PressableView : public QWidget {
    Q_OBJECT
public:
    explicit PressableView(QWidget* parent = nullptr);

    // What a click, Space, Return and a screen reader's press do.
    virtual void press() = 0;
    // Whether the view is the chosen one of its list (a screen reader says "selected").
    virtual bool isChosen() const { return false; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    // Draws the focus ring; subclasses call it last in their paintEvent.
    void paintFocus();
};
