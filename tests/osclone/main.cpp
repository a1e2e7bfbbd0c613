#include "TestMain.h"
#include "tst_usbcontrol.h"

TAVRILL_TEST_MAIN(TestUSBControl)
