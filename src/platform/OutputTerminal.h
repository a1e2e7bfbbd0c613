#pragma once

#include <QByteArray>

// A terminal pair that only carries a tool's output to this process: no echo, no line
// editing, no "\r" before "\n", not anyone's controlling terminal. Both ends close on exec.
struct OutputTerminal {
    int master = -1; // non-blocking
    int slave = -1;
    QByteArray slavePath; // "/dev/pts/3", "/dev/ttys003"
    bool isOpen() const { return master >= 0; }
};

// Opens one; both descriptors are -1 when the system has none to give.
OutputTerminal openOutputTerminal();
