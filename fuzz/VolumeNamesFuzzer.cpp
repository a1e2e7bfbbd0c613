// The Disk Manager's name rules with any text: the FAT32 name, the blank-name test and the
// Chinese test.
#include "FuzzSupport.h"

#include "diskmanager/VolumeOperations.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString typed =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    const QString fat = VolumeOperations::fat32Name(typed);
    fuzzCheck(fat.size() <= 11, "a FAT32 name has at most 11 characters");
    fuzzCheck(QStringView(fat).isValidUtf16(), "a FAT32 name is whole characters");
    fuzzCheck(!VolumeOperations::containsChinese(typed) || fat == QLatin1String("NEW"),
              "a name with Chinese becomes NEW");
    fuzzCheck(VolumeOperations::fat32Name(fat) == fat || VolumeOperations::containsChinese(fat),
              "a FAT32 name stays as it is");
    if (VolumeOperations::isBlankName(typed))
        fuzzCheck(typed.trimmed().isEmpty(), "only empty or blank text is no name");
    return 0;
}
