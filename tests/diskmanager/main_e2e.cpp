#include "GuiTestMain.h"
#include "tst_diskmanagerworkflow.h"

TAVRILL_GUI_TEST_MAIN(TestDiskManagerWorkflow)
