#pragma once

#include "EmulatedMac.h"

#include <QVariantMap>

// Small helpers shared by the emulator's tests.

// True when every dictionary in the XML text lists its keys in byte order.
bool keysInByteOrder(const QByteArray& xml);
// The partition entries of one whole disk in `list -plist`.
QVariantList partitionsOf(const QVariantMap& list, const QString& disk);
