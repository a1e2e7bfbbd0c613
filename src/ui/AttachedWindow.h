#pragma once

#include <QPoint>
#include <QPointer>
#include <QWidget>

// A small frameless panel shown on top of a host window and attached to a point of it (the
// popups of the tabs): it lives as a child of the host's top-level widget, so it moves with the
// window, stays above its content and needs no window manager.
//
// The panel shows itself when it is made. close() hides it, emits closed() once and deletes it
// later from the event loop; the content goes with it.
class AttachedWindow : public QWidget {
    Q_OBJECT
public:
    // `content` is reparented into the panel. `point` is in the host window's coordinates: the
    // panel is centred horizontally on point.x() and placed `distance` points below point.y().
    AttachedWindow(QWidget* content, QPoint point, QWidget* hostWindow, int distance = 5);
    ~AttachedWindow() override;

    QWidget* content() const;
    void setPoint(QPoint point); // re-place
    QPoint point() const { return m_point; }
    int distance() const { return m_distance; }
    // The host the point is measured in.
    QWidget* hostWindow() const { return m_host; }
    static QPoint middleTop(QWidget* hostWindow); // (host width / 2 - 3, 0): the usual place

    // Corner radius of the panel, in points.
    static constexpr int kCornerRadius = 8;

Q_SIGNALS:
    void closed(); // emitted when close() hides it (then it deletes itself later)

protected:
    void paintEvent(QPaintEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void place();

    QPointer<QWidget> m_content;
    QPointer<QWidget> m_host;
    QPoint m_point;
    int m_distance;
    bool m_closed = false;
};
