#pragma once

// What the two halves of the emulated diskutil share: DiskutilOutput.cpp prints (list, info and
// the error lines), DiskutilVerbs.cpp changes disks and runs every verb.

#include "EmuFileSystems.h"
#include "EmuTools.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace emu::diskutil {

// The numbers in a device identifier, for ordering: disk4s2 -> (4, 2).
QList<int> idKey(const QString& id);
// A size as diskutil's text output writes it: "16 GB", "500 MB".
QString sizeWords(qint64 bytes);

// Error lines on standard error; each answers the exit status 1.
int usage(Output& o, const QString& verb, const QString& text);
int cannotFind(Output& o, const QString& arg);

// diskutil list [-plist] [filters], diskutil info [-plist] DEVICE.
int doList(MachineState& m, const QStringList& args, Output& o);
int doInfo(MachineState& m, const QStringList& args, Output& o);

} // namespace emu::diskutil
