#pragma once

#include "EmulatedMac.h"

#include <QVariantMap>

// Small helpers shared by the emulator's tests.

// True when every dictionary in the XML text lists its keys in byte order.
bool keysInByteOrder(const QByteArray& xml);
// The partition entries of one whole disk in `list -plist`.
QVariantList partitionsOf(const QVariantMap& list, const QString& disk);
// What a Mac folder holds, hidden entries too, by name.
QStringList entriesOf(const EmulatedMac& mac, const QString& macPath);
// One text field of `diskutil info -plist ARG`.
QString infoText(const EmulatedMac& mac, const QString& arg, const QString& key);
// Whether `diskutil list -plist` names the whole disk.
bool isWholeDisk(const EmulatedMac& mac, const QString& disk);
// The first physical store named in an APFS volume's information.
QString physicalStoreOf(const QVariantMap& info);
