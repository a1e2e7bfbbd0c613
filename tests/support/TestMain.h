#pragma once

#include <QCoreApplication>
#include <QTest>

#include <memory>

// Runs several QtTest classes in one executable (one executable per subsystem folder). The
// exit status is the number of failed classes, so CTest sees any failure.
template <typename... Tests> int runTestClasses(int argc, char** argv) {
    int failed = 0;
    auto runOne = [&](auto&& test) { failed += QTest::qExec(&test, argc, argv) != 0 ? 1 : 0; };
    (runOne(Tests{}), ...);
    return failed;
}

#define TAVRILL_TEST_MAIN(...)                                                                               \
    int main(int argc, char** argv) {                                                                        \
        QCoreApplication app(argc, argv);                                                                    \
        return runTestClasses<__VA_ARGS__>(argc, argv);                                                      \
    }
