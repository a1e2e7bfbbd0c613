#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QProgressBar;

// The progress popup shown while a format runs: a title, a line of advice and a busy bar (the
// disk tool gives no percentage). The Disk Manager closes it when the commands have returned.
class FormatingViewController : public QWidget {
    Q_OBJECT
public:
    explicit FormatingViewController(QWidget* parent = nullptr);

    void setSuperDelegate(QWidget* host) { m_superDelegate = host; }
    void closeWindow();

private:
    QLabel* m_title;
    QLabel* m_body;
    QProgressBar* m_busy;
    QPointer<QWidget> m_superDelegate;
};
