#include "TestMain.h"
#include "tst_diskarbitration.h"
#include "tst_volumeenumerator.h"

TAVRILL_TEST_MAIN(TestDiskArbitration, TestVolumeEnumerator)
