#pragma once

#include "EmulatedMac.h"

#include <QDir>
#include <QObject>

// The emulator's tests: what its tools print and do, as the real ones would.
class TestEmulator : public QObject {
    Q_OBJECT
    // The "demo" machine, made anew for each test; a test may put another in its place.
    std::unique_ptr<EmulatedMac> mac;
private Q_SLOTS:
    void init();
    // diskutil
    void volumeKindsLookupsAndUnknownDevices();
    void renameAndTheNameRulesOfEachFileSystem_data();
    void renameAndTheNameRulesOfEachFileSystem();
    void eraseVolumeTakesEachFormatName();
    void anApfsVolumeIsErasedInItsContainer();
    void eraseDiskLaysOutTheScheme_data();
    void eraseDiskLaysOutTheScheme();
    void unmountMountAndEject();
    void aBusyVolumeDissents_data();
    void aBusyVolumeDissents();
    // asr
    void asrRestores_data();
    void asrRestores();
    // hdiutil
    void imageRefusalsOfARealMac();
    // the machine
    void toolsOnTheMachinesPath();
    void sizesInEachToolsUnits();
    void faultKnobs();
    void plugAndUnplugAlsoConcurrently();
};

// The partition entries of one whole disk in `list -plist`.
inline QVariantList partitionsOf(const QVariantMap& list, const QString& disk) {
    for (const QVariant& e : list.value("AllDisksAndPartitions").toList()) {
        if (e.toMap().value("DeviceIdentifier").toString() == disk)
            return e.toMap().value("Partitions").toList() + e.toMap().value("APFSVolumes").toList();
    }
    return {};
}

// What a Mac folder holds, hidden entries too, by name.
inline QStringList entriesOf(const EmulatedMac& mac, const QString& macPath) {
    return QDir(mac.host(macPath)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

// One text field of `diskutil info -plist ARG`.
inline QString infoText(const EmulatedMac& mac, const QString& arg, const QString& key) {
    return mac.diskInfo(arg).value(key).toString();
}

// Some fields of a disk-tool dictionary as "value|value|...", "-" for a key it lacks.
inline QString fieldsOf(const QVariantMap& info, const QStringList& keys) {
    QStringList values;
    for (const QString& key : keys)
        values << (info.contains(key) ? info.value(key).toString() : QStringLiteral("-"));
    return values.join(QLatin1Char('|'));
}

// Whether `diskutil list -plist` names the whole disk.
inline bool isWholeDisk(const EmulatedMac& mac, const QString& disk) {
    return mac.diskList().value("WholeDisks").toStringList().contains(disk);
}
