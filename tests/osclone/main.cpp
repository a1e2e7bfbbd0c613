#include "TestMain.h"
#include "tst_asroutput.h"
#include "tst_bootable.h"
#include "tst_usbcontrol.h"

TAVRILL_TEST_MAIN(TestAsrOutput, TestUSBControl, TestBootable)
