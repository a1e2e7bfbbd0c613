#include "TestMain.h"
#include "tst_copyresume.h"
#include "tst_destinationcheck.h"
#include "tst_docopyfiles.h"
#include "tst_eumeroot.h"
#include "tst_filenode.h"
#include "tst_getfilessize.h"
#include "tst_treeoperations.h"

TAVRILL_TEST_MAIN(TestFileNode, TestTreeOperations, TestEumeRoot, TestGetFilesSize, TestDoCopyFiles,
                  TestDestinationCheck, TestCopyResume)
