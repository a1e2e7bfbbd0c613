#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>

// One volume on a drive, as the drive lists and the erase confirmations name it.
struct DriveVolume {
    QString name;
    QString device;              // disk6s2
    std::int64_t usedBytes = -1; // -1: not known (the volume is not mounted)

    bool operator==(const DriveVolume&) const = default;
};

// Which physical drive a volume or disk is, told so that nobody mistakes one drive for another:
// its device node, model, bus, capacity and the volumes on it with their used space. Empty
// (device null) when the disk tool did not describe the drive.
struct DriveIdentity {
    QString device; // "/dev/disk6"
    QString model;  // "Samsung PSSD T7 Media"
    QString bus;    // "USB"
    std::int64_t capacity = -1;
    QList<DriveVolume> volumes;
    bool startupDisk = false; // the drive the running system started from

    bool isKnown() const { return !device.isNull(); }
    // The bytes used on the given volumes that are known.
    static std::int64_t usedBytes(const QList<DriveVolume>& volumes);
    // The volumes of this drive whose device is `device` (one volume of a multi-volume disk).
    QList<DriveVolume> volumesOn(const QString& device) const;

    // The texts the lists and confirmations show.
    QString modelAndBus() const; // "Samsung PSSD T7 Media · USB"
    QString summary() const;     // "Samsung PSSD T7 Media · USB · 500.11 GB" (+ " · start-up disk")
    // The summary and the volumes, the lines a chosen-drive slot shows; none when not known.
    QStringList detailLines() const;
    static QString volumeUse(const DriveVolume& volume);           // "Backup — 80.02 GB used"
    static QString volumesText(const QList<DriveVolume>& volumes); // "A — …, B — …" or "no volumes"
    // "80.02 GB of data will be erased", or a null string when none of them holds data.
    static QString dataErased(const QList<DriveVolume>& volumes);
    static QString startupDiskText(); // "start-up disk"

    bool operator==(const DriveIdentity&) const = default;
};
