#include "GuiTestMain.h"
#include "tst_disklist.h"
#include "tst_picker.h"
#include "tst_volumeenumerator.h"
#include "tst_watching.h"

TAVRILL_GUI_TEST_MAIN(TestVolumeEnumerator, TestWatching, TestDiskList, TestPicker)
