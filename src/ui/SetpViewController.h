#pragma once

#include "ui/StepIndicatorView.h"

// The three-step indicator of the copy and image tabs: choosing, working, finished. Its pictures
// are "step1" to "step3".
class SetpViewController : public StepIndicatorView {
    Q_OBJECT
public:
    explicit SetpViewController(QWidget* parent = nullptr);
    static QStringList defaultLabels();
};
