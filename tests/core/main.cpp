#include "TestMain.h"
#include "tst_commandrunner.h"
#include "tst_log.h"
#include "tst_propertylist.h"
#include "tst_qvtask.h"
#include "tst_transfermeter.h"
#include "tst_utilities.h"

TAVRILL_TEST_MAIN(TestPropertyList, TestCommandRunner, TestQvTask, TestUtilities, TestLog, TestTransferMeter)
