#include "Wait.h"

#include <QTest>

bool waitUntil(const std::function<bool()>& done, int ms) {
    return QTest::qWaitFor(done, ms);
}
