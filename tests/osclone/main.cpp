#include "TestMain.h"

TAVRILL_TEST_MAIN()
