#pragma once

#include <QObject>

class TestDmgWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void volumeToDiskImage();
    void chosenFilesToZip();
    void droppedFilesAndAnItemThatCannotBeRead();
    void sameVolumeAndNothingSelected();
    void cancelAndFailures();
    void quitWhileAnImageIsMade_data();
    void quitWhileAnImageIsMade();
};
