#pragma once

#include <QtGlobal>

// The tools Tavrill has started and not yet seen end, so that quitting can make sure none of
// them outlives it. A tool that leads a process group of its own is ended with its group.
namespace ToolProcesses {

void remember(qint64 pid);
void forget(qint64 pid);
// How many are remembered now.
int count();
// SIGKILL to every remembered tool (to its group when it leads one); they are forgotten.
// Answers how many there were.
int killAll();
// For quitting: kills every remembered tool, and from now on any tool that is remembered is
// killed at once, so that a worker thread still busy cannot leave a tool behind Tavrill.
void killAllFromNowOn();
// A new main window: tools may run again (a process shows one main window in its life, except
// under tests that start the application again in the same process).
void allowAgain();

// Remembers one started tool for as long as it lives.
class Remembered {
public:
    explicit Remembered(qint64 pid) : m_pid(pid) { remember(pid); }
    ~Remembered() { forget(m_pid); }
    Remembered(const Remembered&) = delete;
    Remembered& operator=(const Remembered&) = delete;

private:
    qint64 m_pid;
};

} // namespace ToolProcesses
