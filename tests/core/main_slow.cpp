#include "TestMain.h"
#include "tst_qvtasktimeout.h"

TAVRILL_TEST_MAIN(TestQvTaskTimeout)
