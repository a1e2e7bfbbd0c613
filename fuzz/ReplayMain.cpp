// Runs a harness once over every file of the folders (or the files) it is given, without
// libFuzzer: the regression run of the ordinary test suite.
#include "FuzzSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

bool runFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qUtf8Printable(path));
        return false;
    }
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                           static_cast<std::size_t>(bytes.size()));
    return true;
}

} // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    int inputs = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const QString path = QString::fromLocal8Bit(argv[i]);
        if (!QFileInfo(path).isDir()) {
            ok = runFile(path) && ok;
            ++inputs;
            continue;
        }
        const QDir folder(path);
        for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
            ok = runFile(folder.filePath(name)) && ok;
            ++inputs;
        }
    }
    std::printf("%d inputs\n", inputs);
    // A corpus that went missing must not pass as a clean run.
    return ok && inputs > 0 ? 0 : 1;
}
