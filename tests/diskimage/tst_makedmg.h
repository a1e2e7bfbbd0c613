#pragma once

#include <QObject>

class TestMakeDmg : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void imageHoldsTheItemsByteForByte();
    void archivesUnzipToTheSelection();
    void stopInEachStageLeavesNothingBehind_data();
    void stopInEachStageLeavesNothingBehind();
    void imageVolumeIsOnlyEverItsOwn();
    void toolFailuresAndMissingItems();
};
