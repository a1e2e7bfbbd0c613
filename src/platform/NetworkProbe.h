#pragma once

#include <QString>

// Sends a plain HTTP GET for the given http:// address and answers true when any byte came
// back within the time limit. Used as a "can we reach the network" test.
bool httpAnswersWithData(const QString& url, int timeoutMs);
