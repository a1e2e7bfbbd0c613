#pragma once

#include "ui/MessagePanel.h"

class QProgressBar;

// The progress popup shown while a format runs: a title, a line of advice and a busy bar (the
// disk tool gives no percentage). The Disk Manager closes it when the commands have returned.
class FormatingViewController : public MessagePanel {
    Q_OBJECT
public:
    explicit FormatingViewController(QWidget* parent = nullptr);

private:
    QProgressBar* m_busy;
};
