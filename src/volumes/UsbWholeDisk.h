#pragma once

#include <QString>
#include <QVariantMap>

// Whether the disk tool's answer for a disk ("diskutil info -plist diskN") describes a whole
// physical USB disk that a drive list may offer: not a RAID set, not an encrypted Core Storage
// volume, not a case-sensitive HFS+ partition, not a virtual disk (a mounted image).
inline bool isUsbWholeDisk(const QVariantMap& info) {
    return info.value(QStringLiteral("WholeDisk")).toBool() &&
           info.value(QStringLiteral("BusProtocol")).toString() == QLatin1String("USB") &&
           !info.value(QStringLiteral("RAIDMaster")).toBool() &&
           !info.value(QStringLiteral("CoreStorageEncrypted")).toBool() &&
           info.value(QStringLiteral("Content")).toString() != QLatin1String("Apple_HFSX") &&
           info.value(QStringLiteral("VirtualOrPhysical")).toString() != QLatin1String("Virtual");
}
