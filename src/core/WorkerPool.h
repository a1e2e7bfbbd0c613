#pragma once

class QThreadPool;

// The threads that do the program's blocking work: waiting for tools, reading and copying disks.
// Not Qt's global pool: Qt uses that one itself while painting (image conversions for shadows
// and scaled pictures wait for it on the main thread), so a copy or a drive scan there would
// freeze the window until it ended.
QThreadPool* workerPool();
