#pragma once

#include "TestMain.h"

#include <QApplication>

// The same for tests of screens, with a QApplication on the offscreen platform.
#define TAVRILL_GUI_TEST_MAIN(...)                                                                           \
    int main(int argc, char** argv) {                                                                        \
        QApplication app(argc, argv);                                                                        \
        return runTestClasses<__VA_ARGS__>(argc, argv);                                                      \
    }
