#include "lib/EmuTools.h"

int main(int argc, char** argv) {
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    return emu::emuctlMain(args);
}
