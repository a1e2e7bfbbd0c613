#pragma once

#include "core/FeatureTab.h"
#include "osclone/CloneQuestionPanel.h"

#include <QString>

// The question closing the window or quitting asks while a long job runs: what quitting does to
// the job, "Keep Working" (closes the question, the job goes on) and "Stop and Quit".
class QuitQuestionPanel : public CloneQuestionPanel {
    Q_OBJECT
public:
    static QString titleFor(FeatureTab::Job job);
    static QString textFor(FeatureTab::Job job);

    explicit QuitQuestionPanel(FeatureTab::Job job, QWidget* parent = nullptr);

    FlatButton* keepWorkingButton() const { return quietButton(); }
    FlatButton* stopAndQuitButton() const { return mainButton(); }

Q_SIGNALS:
    void stopAndQuit();
};
