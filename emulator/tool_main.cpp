// The emulated Mac's tools in one binary: it acts as the tool it is called as
// (<root>/usr/sbin/diskutil, <root>/usr/bin/hdiutil, ...).

#include "lib/EmuTools.h"

#include <QCoreApplication>
#include <QFileInfo>

int main(int argc, char** argv) {
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    const QString tool = QFileInfo(QString::fromLocal8Bit(argv[0])).fileName();
    if (tool == QLatin1String("emuctl"))
        return emu::emuctlMain(args);
    return emu::dispatchTool(emu::rootFromExecutable(), tool, args);
}
