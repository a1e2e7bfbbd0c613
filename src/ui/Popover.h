#pragma once

#include <QPainterPath>
#include <QPointer>
#include <QWidget>

// A panel with an arrow, shown next to an anchor widget inside the anchor's window; it closes
// on a click outside it or on Escape. It lives as a child of the host's top-level widget, so it
// needs no window manager, and it can be shown again after it closed.
//
// The arrow side follows the edges of a rectangle: 0 left of the anchor, 1 under it (the usual
// place), 2 right of it, 3 above it. When the panel does not fit on the asked side inside the
// window it goes to the opposite side, and it is always kept inside the window.
//
// A click on the anchor itself does not close the panel: the anchor's own action decides
// (the slots close an open picker and open a closed one).
class Popover : public QWidget {
    Q_OBJECT
public:
    explicit Popover(QWidget* hostWindow);
    ~Popover() override;

    void setContent(QWidget* content); // reparented, not owned before
    QWidget* content() const { return m_content; }
    void showRelativeTo(QWidget* anchor, int arrowSide = 1);
    bool isShown() const;
    void closePopover();
    // The side the arrow was placed on the last time the panel was shown.
    int arrowSide() const { return m_side; }

    static constexpr int kArrowDepth = 9;
    static constexpr int kArrowHalfWidth = 10;
    static constexpr int kCornerRadius = 8;

Q_SIGNALS:
    void closed();

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool event(QEvent* event) override;

private:
    void place();
    void updateMargins();
    QRect anchorRect() const;
    const QPainterPath& outline();

    QPointer<QWidget> m_content;
    QPointer<QWidget> m_anchor;
    int m_wantedSide = 1;
    int m_side = 1;
    int m_arrowOffset = 0; // centre of the arrow along its edge, in the panel's coordinates
    bool m_shown = false;
    bool m_placing = false;
    // The body joined with the arrow. Joining paths is slow, so it is made again only when the
    // size, the side or the arrow's place changed.
    QPainterPath m_outline;
    QSize m_outlineSize;
    int m_outlineSide = -1;
    int m_outlineOffset = -1;
};
