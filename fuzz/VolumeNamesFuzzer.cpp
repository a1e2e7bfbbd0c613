// The Disk Manager's name rules with any text: the FAT32 name, the blank-name test, the Chinese
// test, the check of a name against each file system, and the hint told while typing.
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

    // A name the check lets through keeps to its file system's limits.
    for (const char* fs : {"MS-DOS FAT32", "ExFAT"}) {
        if (VolumeOperations::nameProblem(typed, QLatin1String(fs)).isNull())
            fuzzCheck(typed.size() <= 11 && !typed.contains(QLatin1Char(':')) &&
                          !typed.contains(QLatin1Char('/')),
                      "a FAT or exFAT name that passes fits");
    }
    if (VolumeOperations::nameProblem(fat, QStringLiteral("MS-DOS FAT32")).isNull())
        fuzzCheck(fat.toUpper() == fat || VolumeOperations::containsChinese(typed),
                  "a FAT32 name is capitals");
    for (const char* fs : {"Journaled HFS+", "APFS"}) {
        if (VolumeOperations::nameProblem(typed, QLatin1String(fs)).isNull())
            fuzzCheck(typed.toUtf8().size() <= 255 && !typed.contains(QLatin1Char(':')),
                      "an HFS+ or APFS name that passes fits");
    }
    // The hint tells the name the rename would give, or why none.
    VolumeObj stick;
    stick.setDiskType(QStringLiteral("MS-DOS FAT32"));
    const VolumeOperations::NameHint hint = VolumeOperations::renameHint(stick, typed);
    const VolumeOperations::NameCheck check = VolumeOperations::checkRenameName(stick, typed);
    if (check.usable())
        fuzzCheck(!hint.refused && hint.text.startsWith(QStringLiteral("Will be named ") + check.name),
                  "a usable name is told as it will be");
    else
        fuzzCheck(hint.refused == !check.name.isNull(), "a refused name says why, a blank one nothing");
    return 0;
}
