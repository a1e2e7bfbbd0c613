#include "GuiTestMain.h"

TAVRILL_GUI_TEST_MAIN()
