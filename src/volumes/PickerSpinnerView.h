#pragma once

#include <QWidget>

class QTimer;

// The drive picker's busy indicator: a ring of spokes turning while a scan runs.
class PickerSpinnerView : public QWidget {
    Q_OBJECT
public:
    explicit PickerSpinnerView(QWidget* parent = nullptr);

    void startAnimation();
    void stopAnimation();
    bool isAnimating() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QTimer* m_timer;
    int m_step = 0;
};
