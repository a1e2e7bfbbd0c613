// The Disk Manager's listing: one "diskutil info -plist" answer per entry of "/Volumes/" (the
// pieces of the input), taken into the list one after the other.
#include "FuzzSupport.h"

#include "core/PropertyList.h"
#include "diskmanager/DiskManagerEngine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    VolumeObjList list;
    const QList<QByteArray> pieces = fuzzPieces(data, size);
    for (const QByteArray& piece : pieces) {
        if (const std::optional<QVariantMap> info = PropertyList::dictionaryFromBytes(piece))
            DiskManagerEngine::addVolumeFromInfo(*info, list);
    }
    fuzzCheck(list.size() <= pieces.size(), "at most one row per answer");
    for (qsizetype i = 0; i < list.size(); ++i) {
        fuzzCheck(list[i]->volumeName() != QLatin1String("EFI"), "no EFI row");
        for (qsizetype j = i + 1; j < list.size(); ++j)
            fuzzCheck(list[i]->volumeName() != list[j]->volumeName() ||
                          list[i]->volumePath() != list[j]->volumePath(),
                      "a volume is listed once");
    }
    return 0;
}
