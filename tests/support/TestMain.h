#pragma once

#include <QCoreApplication>
#include <QTest>

#include <memory>

// Runs several QtTest classes in one executable (one executable per subsystem folder): those
// named to the main, then those whose files registered them with TAVRILL_TEST(Class), in the
// order the files are linked. The exit status is the number of failed classes, so CTest sees
// any failure.
using TestClassRunner = int (*)(int argc, char** argv);

inline QList<TestClassRunner>& registeredTestClasses() {
    static QList<TestClassRunner> runners;
    return runners;
}

template <typename Test> int runTestClass(int argc, char** argv) {
    Test test;
    return QTest::qExec(&test, argc, argv);
}

#define TAVRILL_TEST(Class)                                                                                  \
    [[maybe_unused]] static const bool Class##Registered =                                                   \
        (registeredTestClasses() << &runTestClass<Class>, true);

template <typename... Tests> int runTestClasses(int argc, char** argv) {
    int failed = 0;
    for (TestClassRunner run : QList<TestClassRunner>{&runTestClass<Tests>...} + registeredTestClasses())
        failed += run(argc, argv) != 0 ? 1 : 0;
    return failed;
}

#define TAVRILL_TEST_MAIN(...)                                                                               \
    int main(int argc, char** argv) {                                                                        \
        QCoreApplication app(argc, argv);                                                                    \
        return runTestClasses<__VA_ARGS__>(argc, argv);                                                      \
    }
