#pragma once

#include <QImage>
#include <QPointer>
#include <QWidget>

// The soft shadow under a panel that floats over the window (popovers, attached windows).
//
// A sibling just below the panel, a little larger than it, that paints a blurred copy of the
// panel's outline. The blur is made once per outline (the panel shown, moved or resized), not on
// every repaint of what lies under it, as a graphics effect on the panel would: an effect renders
// the whole panel offscreen and blurs it each time anything behind it is painted.
//
// A panel without a parent (a window of its own) gets none: the system draws window shadows.
class PanelShadow : public QWidget {
    Q_OBJECT
public:
    explicit PanelShadow(QWidget* panel);

    // How far the shadow reaches beyond the panel, and how far down it is moved.
    static constexpr int kSpread = 24;
    static constexpr int kDrop = 4;
    // The blur is made at 1/kScale of the size.
    static constexpr int kScale = 4;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void follow();
    void makeShadow();

    QPointer<QWidget> m_panel;
    QImage m_shadow;
    bool m_remake = false; // a new shadow is due from the event loop
};
