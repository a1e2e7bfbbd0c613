#pragma once

#include <QColor>
#include <QWidget>

// A plain view that fills itself: a colour, an optional border and rounded corners. The
// backgrounds of panels, slots and the window are made of these.
class BackgroundView : public QWidget {
    Q_OBJECT
public:
    explicit BackgroundView(const QColor& fill = QColor(), QWidget* parent = nullptr);

    void setFill(const QColor& fill);
    QColor fill() const { return m_fill; }
    void setBorder(const QColor& color, qreal width = 1.0);
    QColor borderColor() const { return m_border; }
    void setCornerRadius(qreal radius);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor m_fill;
    QColor m_border;
    qreal m_borderWidth = 1.0;
    qreal m_radius = 0;
};
