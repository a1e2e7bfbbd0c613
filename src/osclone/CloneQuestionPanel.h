#pragma once

#include "ui/QuestionPanel.h"

// The OS Clone tab's questions; the subclasses give the buttons their actions.
class CloneQuestionPanel : public QuestionPanel {
    Q_OBJECT
public:
    using QuestionPanel::QuestionPanel;
};
