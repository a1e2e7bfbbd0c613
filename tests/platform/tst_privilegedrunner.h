#pragma once

#include <QObject>

// Commands run as root after the administrator dialog, on an emulated Mac: which commands are
// let through, the dialog's three answers, output while the tool runs, and a stop (asked for,
// or Tavrill gone) that reaches the root tool.
class TestPrivilegedRunner : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void commandChecks_data();
    void commandChecks();
    void dialogAnswers_data();
    void dialogAnswers();
    void stopReachesTheRootTool_data();
    void stopReachesTheRootTool();
};
