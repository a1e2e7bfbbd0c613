#pragma once
#include <QObject>

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
