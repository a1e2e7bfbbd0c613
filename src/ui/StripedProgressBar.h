#pragma once

#include <QColor>
#include <QWidget>

class QTimer;
class QVariantAnimation;

// The progress bar of the long operations: a rounded track filled from the left in the accent
// colour, with diagonal stripes that drift while the bar is shown and not yet full. The value
// runs from 0.0 to 1.0; changes glide to the new value unless animation is switched off.
class StripedProgressBar : public QWidget {
    Q_OBJECT
public:
    explicit StripedProgressBar(QWidget* parent = nullptr);

    // The value asked for last (the drawn fill may still be gliding towards it).
    double doubleValue() const { return m_target; }
    // The value drawn right now.
    double displayedValue() const { return m_shown; }
    void setDoubleValue(double value);
    // Animated value changes (on by default); off, the fill jumps.
    void setAnimated(bool animated);
    bool isAnimated() const { return m_animated; }
    // Whether the stripes are moving right now.
    bool isStriping() const;
    // Distance the stripes have drifted, in points, modulo one stripe period.
    int stripePhase() const { return m_phase; }

    static constexpr int kStripePeriod = 16;
    static constexpr int kGlideMs = 200;
    static constexpr int kFrameMs = 40;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void updateTimer();

    QTimer* m_timer;
    QVariantAnimation* m_glide;
    double m_target = 0.0;
    double m_shown = 0.0;
    int m_phase = 0;
    bool m_animated = true;
};
