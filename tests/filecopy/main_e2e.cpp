#include "GuiTestMain.h"
#include "tst_diskcopyworkflow.h"

TAVRILL_GUI_TEST_MAIN(TestDiskCopyWorkflow)
