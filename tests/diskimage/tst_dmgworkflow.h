#pragma once

#include <QObject>

class TestDmgWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void volumeImageThenChosenFilesZipped();
    void sourcesAndDestinationsChosenAndRefused();
    void cancelAndFailures();
    void quitWhileAnImageIsMade_data();
    void quitWhileAnImageIsMade();
};
