#pragma once

#include "ui/StepIndicatorView.h"

// The four-step indicator of the system clone: choosing the target, erasing it, cloning onto
// it, finished. Its pictures are "oc_step1" to "oc_step4".
class SetpFViewController : public StepIndicatorView {
    Q_OBJECT
public:
    explicit SetpFViewController(QWidget* parent = nullptr);
    static QStringList defaultLabels();
};
