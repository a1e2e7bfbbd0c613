#include "EmulatorTestKit.h"
#include "TestMain.h"

TAVRILL_TEST_MAIN(TestEmulator)
