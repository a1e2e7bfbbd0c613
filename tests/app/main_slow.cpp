#include "TestMain.h"
#include "tst_qvtask.h"

TAVRILL_TEST_MAIN(TestQvTaskTimeout)
