#include "GuiTestMain.h"
#include "tst_volumes.h"

TAVRILL_GUI_TEST_MAIN(TestVolumeEnumerator, TestWatching, TestDiskList, TestPicker)
