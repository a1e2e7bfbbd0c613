#include "TestMain.h"
#include "tst_asr.h"
#include "tst_diskutiloutput.h"
#include "tst_diskutilverbs.h"
#include "tst_images.h"
#include "tst_machine.h"

TAVRILL_TEST_MAIN(TestDiskutilOutput, TestDiskutilVerbs, TestAsr, TestImages, TestEmulatedMachine)
