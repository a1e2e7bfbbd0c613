// "diskutil list -plist" answers: the whole-disk names the drive picker and the target-drive
// control take from WholeDisks, and the partitions the control's carving walks for each disk
// of AllDisksAndPartitions.
#include "FuzzSupport.h"

#include "core/PropertyList.h"
#include "osclone/QvUSBControl.h"
#include "volumes/DriveSurvey.h"

#include <QRegularExpression>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::optional<QVariantMap> list = PropertyList::dictionaryFromBytes(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    if (!list)
        return 0;

    // The scans hand each name on as a C string.
    for (const QVariant& entry : list->value(QStringLiteral("WholeDisks")).toList()) {
        const QByteArray name = entry.toString().section(QLatin1Char('/'), -1).toUtf8();
        fuzzCheck(!name.contains('/'), "a whole-disk name is the last path component");
    }

    for (const QVariant& e : list->value(QStringLiteral("AllDisksAndPartitions")).toList()) {
        const QVariantMap entry = e.toMap();
        QVariantMap drive;
        drive.insert(QStringLiteral("QvUSBBsdName"),
                     entry.value(QStringLiteral("DeviceIdentifier")).toString());
        drive.insert(QStringLiteral("QvUSBTotalSize"), entry.value(QStringLiteral("Size")).toLongLong());
        const std::optional<QVariantList> partitions = QvUSBControl::partitionsOfEntry(entry, drive);
        fuzzCheck(partitions.has_value(), "an entry is found for its own identifier and size");
        drive.insert(QStringLiteral("QvUSBTotalSize"), entry.value(QStringLiteral("Size")).toLongLong() + 1);
        fuzzCheck(!QvUSBControl::partitionsOfEntry(entry, drive), "another size is another drive");

        // The drive behind each disk is a whole disk: no slice of one.
        const QString physical =
            DriveSurvey::physicalDiskOf(*list, entry.value(QStringLiteral("DeviceIdentifier")).toString());
        fuzzCheck(!physical.contains(QRegularExpression(QStringLiteral("^disk\\d+s\\d+$"))),
                  "a drive is a whole disk");
        DriveSurvey::volumeDevicesOf(*list, physical);
    }
    DriveSurvey::startupDiskOf(*list);
    return 0;
}
