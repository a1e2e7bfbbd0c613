#pragma once

#include "EmulatedMac.h"

#include <QObject>
#include <QVariantMap>

// The emulator's tests and the small helpers they share.

class TestDiskutilOutput : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void volumeKindsAndTheirFreeSpace();
    void lookupsByEveryFormAndUnknownDevices();
};

class TestDiskutilVerbs : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void renameMovesTheMountFolder();
    void nameRulesOfEachFileSystem_data();
    void nameRulesOfEachFileSystem();
    void eraseVolumeEmptiesAndReformats();
    void eraseVolumeTakesEachFormatName();
    void anApfsVolumeIsErasedInItsContainer();
    void eraseDiskLaysOutTheScheme_data();
    void eraseDiskLaysOutTheScheme();
    void ejectRemovesTheDisk();
    void aBusyVolumeDissents_data();
    void aBusyVolumeDissents();
    void unmountMountAndResizeADisk();
};

class TestAsr : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void restoresInEachDelivery_data();
    void restoresInEachDelivery();
    void endsWithoutRestoring_data();
    void endsWithoutRestoring();
};

class TestImages : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void imageRoundTripKeepsTheFiles();
    void refusalsOfARealMac();
};

class TestEmulatedMachine : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void toolsOnTheMachinesPath();
    void plugAndUnplugShowAtOnce();
    void sizesInEachToolsUnits();
    void faultKnobs();
    void concurrentCallsKeepTheStateWhole();
};

// The partition entries of one whole disk in `list -plist`.
QVariantList partitionsOf(const QVariantMap& list, const QString& disk);
// What a Mac folder holds, hidden entries too, by name.
QStringList entriesOf(const EmulatedMac& mac, const QString& macPath);
// One text field of `diskutil info -plist ARG`.
QString infoText(const EmulatedMac& mac, const QString& arg, const QString& key);
// Some fields of a disk-tool dictionary as "value|value|...", "-" for a key it lacks.
QString fieldsOf(const QVariantMap& info, const QStringList& keys);
// Whether `diskutil list -plist` names the whole disk.
bool isWholeDisk(const EmulatedMac& mac, const QString& disk);
