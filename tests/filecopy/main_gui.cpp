#include "GuiTestMain.h"

#include <cstring>

int quitWhile(const QString& stage); // in tst_filelistwindow.cpp

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    // The test runs itself again in this mode to watch a whole application quit mid-way.
    if (argc == 3 && std::strcmp(argv[1], "--quit-while") == 0)
        return quitWhile(QString::fromLatin1(argv[2]));
    return runTestClasses<>(argc, argv);
}
