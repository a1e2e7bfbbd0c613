#include "TestMain.h"
#include "tst_directorybatchreader.h"
#include "tst_diskarbitration.h"
#include "tst_itemcopy.h"
#include "tst_privilegedrunner.h"

TAVRILL_TEST_MAIN(TestDirectoryBatchReader, TestItemCopy, TestDiskArbitration, TestPrivilegedRunner)
