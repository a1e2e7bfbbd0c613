#include "TestMain.h"
#include "app/MyNSApplication.h"

// The shell's tests run inside the application's own application object, so key presses take
// the same route as in the program.
int main(int argc, char** argv) {
    MyNSApplication app(argc, argv);
    return runTestClasses<>(argc, argv);
}
