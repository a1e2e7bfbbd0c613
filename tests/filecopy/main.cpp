#include "TestMain.h"
#include "tst_docopyfiles.h"
#include "tst_treeoperations.h"

TAVRILL_TEST_MAIN(TestTreeOperations, TestDoCopyFiles)
