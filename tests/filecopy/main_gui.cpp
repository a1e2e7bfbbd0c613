#include "GuiTestMain.h"
#include "tst_filelistwindow.h"

#include <cstring>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    // The test runs itself again in this mode to watch a whole application quit mid-way.
    if (argc == 3 && std::strcmp(argv[1], "--quit-while") == 0)
        return TestFileListWindow::quitWhile(QString::fromLatin1(argv[2]));
    return runTestClasses<TestFileListWindow>(argc, argv);
}
