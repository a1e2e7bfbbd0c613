#include "GuiTestMain.h"
#include "tst_dmgworkflow.h"

TAVRILL_GUI_TEST_MAIN(TestDmgWorkflow)
