#pragma once

#include <QWidget>

// The thin bar under a drive's name that shows how full it is, from 0 (empty) to 100 (full).
// Fractions are kept: the "OS Clone" list shows its disks at 0.1.
class DiskUsageBarView : public QWidget {
    Q_OBJECT
public:
    explicit DiskUsageBarView(QWidget* parent = nullptr);

    double value() const { return m_value; }
    void setValue(double value);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double m_value = 0;
};
