#include "TestMain.h"
#include "tst_diskarbitration.h"
#include "tst_usbcontrol.h"
#include "tst_volumeenumerator.h"
#include "tst_watching.h"

TAVRILL_TEST_MAIN(TestDiskArbitration, TestVolumeEnumerator, TestWatching, TestUSBControl)
