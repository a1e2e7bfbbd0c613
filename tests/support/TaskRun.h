#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

// Runs the shared QvTask on the thread pool, the way engines do, and waits for it on the main
// loop; `whileRunning` runs on the main thread meanwhile. Answers the milliseconds the run took,
// or -1 when it did not end within waitMs.
qint64 runTask(const QString& tool, const QStringList& args, double limit, int waitMs,
               const std::function<void()>& whileRunning = {});

// True while the process whose id is written in pidText runs.
bool processAlive(const QByteArray& pidText);
