// A disk tool's refusal to unmount: the process named as the dissenter, read from any output.
#include "FuzzSupport.h"

#include "diskmanager/VolumeOperations.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray output(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    int pid = 0;
    QString path;
    if (VolumeOperations::readDissenter(output, &pid, &path)) {
        fuzzCheck(pid > 0, "a dissenter has a process number");
        fuzzCheck(!path.contains(QLatin1Char('\n')), "a dissenter's path is on its line");
        fuzzCheck(output.contains("dissented by PID "), "only a dissent names a dissenter");
    } else {
        fuzzCheck(pid == 0 && path.isNull(), "nothing is read from other output");
    }
    return 0;
}
