#include "GuiTestMain.h"
#include "tst_disklist.h"
#include "tst_picker.h"

TAVRILL_GUI_TEST_MAIN(TestDiskList, TestPicker)
