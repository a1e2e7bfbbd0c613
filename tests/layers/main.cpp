#include "TestMain.h"
#include "tst_layers.h"

TAVRILL_TEST_MAIN(TestLayers)
