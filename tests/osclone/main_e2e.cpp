#include "GuiTestMain.h"
#include "tst_osclonewokflow.h"

TAVRILL_GUI_TEST_MAIN(TestOsCloneWorkflow)
