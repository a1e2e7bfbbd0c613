// "diskutil info -plist" answers through every filler that reads them: the drive picker's volume
// and whole-USB-disk records, the target-drive control's drive dictionary and its judgement of a
// partition, and the Disk Manager's record.
#include "FuzzSupport.h"

#include "core/PropertyList.h"
#include "diskmanager/DiskManagerEngine.h"
#include "osclone/QvUSBControl.h"
#include "volumes/VolumeEnumerator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::optional<QVariantMap> info = PropertyList::dictionaryFromBytes(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    if (!info)
        return 0;

    if (const VolumeObjRef volume = VolumeEnumerator::volumeFromInfo(*info))
        fuzzCheck(!volume->volumeTotalSize().isEmpty() && !volume->volumeFreeSize().isEmpty(),
                  "a volume record has its size texts");
    if (const VolumeObjRef disk = VolumeEnumerator::usbDiskFromInfo(*info))
        fuzzCheck(!disk->volumeName().isNull() && disk->bCanEject(),
                  "a USB disk record is named and external");

    if (const std::optional<QVariantMap> drive = QvUSBControl::driveFromInfo(*info)) {
        fuzzCheck(drive->value(QStringLiteral("QvUSBTotalSize")).toLongLong() >= 2'500'000'000LL,
                  "a clone drive holds at least 2.5 GB");
        fuzzCheck(!drive->value(QStringLiteral("QvUSBMediaName")).toString().isEmpty(), "a drive has a name");
    }
    std::uint64_t keep = 0;
    const int verdict = QvUSBControl::partitionVerdict(*info, &keep);
    if (verdict == QvUSBControl::kPartitionFits) {
        const auto total = static_cast<std::uint64_t>(info->value(QStringLiteral("TotalSize")).toLongLong());
        fuzzCheck(keep > 0 && keep < total, "a resize keeps part of the partition");
    }

    const VolumeObjRef record = DiskManagerEngine::volumeFromInfo(*info);
    fuzzCheck(record->volRootDir() == record->volumePath(),
              "both device paths of a Disk Manager record agree");
    return 0;
}
