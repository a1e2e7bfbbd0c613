#include "GuiTestMain.h"
#include "tst_updateinfo.h"
#include "tst_updatewindow.h"

TAVRILL_GUI_TEST_MAIN(TestUpdateInfo, TestUpdateWindow)
