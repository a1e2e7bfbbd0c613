#pragma once

#include <QByteArray>

// Hands one command line to /bin/sh and waits for it, as system(3) does. The line runs in the
// tool environment of the Machine; standard output and standard error stay with this process
// (redirections in the line apply as usual). Returns the shell's exit status, or -1 when the
// shell could not be started.
int runShellLine(const QByteArray& line);
