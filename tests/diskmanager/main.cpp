#include "GuiTestMain.h"
#include "tst_diskmanagerengine.h"

TAVRILL_GUI_TEST_MAIN(TestDiskManagerEngine)
