#pragma once

#include <QTest>

#include <functional>

// Runs the event loop until `done` holds or `ms` pass; answers `done()`. Every test that waits
// for something to happen waits through this.
inline bool waitUntil(const std::function<bool()>& done, int ms) {
    return QTest::qWaitFor(done, ms);
}
