#pragma once

#include "EmulatedMac.h"

#include <QVariantMap>

// Small helpers shared by the emulator's tests.

// `diskutil info -plist ARG` parsed with the project's property-list reader; empty on failure.
QVariantMap diskInfo(const EmulatedMac& mac, const QString& arg);
// `diskutil list -plist [filters]` parsed.
QVariantMap diskList(const EmulatedMac& mac, const QStringList& filters = {});
// A scenario with the given version and extra disks (JSON array text).
QByteArray scenarioJson(const QString& version, const QByteArray& disks = "[]");
// True when every dictionary in the XML text lists its keys in byte order.
bool keysInByteOrder(const QByteArray& xml);
// The partition entries of one whole disk in `list -plist`.
QVariantList partitionsOf(const QVariantMap& list, const QString& disk);
