#include "GuiTestMain.h"
#include "tst_artwork.h"
#include "tst_attachedwindow.h"
#include "tst_errorwindow.h"
#include "tst_indicators.h"
#include "tst_popover.h"
#include "tst_slot.h"

TAVRILL_GUI_TEST_MAIN(TestAttachedWindow, TestPopover, TestErrorWindow, TestSlot, TestIndicators, TestArtwork)
