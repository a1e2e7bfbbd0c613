#include "TestMain.h"
#include "tst_osclone.h"

TAVRILL_TEST_MAIN(TestAsrOutput, TestUSBControl, TestBootable)
