#include "TestMain.h"
#include "tst_makedmg.h"
#include "tst_zipprogressreader.h"

TAVRILL_TEST_MAIN(TestZipProgressReader, TestMakeDmg)
