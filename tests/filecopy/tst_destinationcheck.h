#pragma once

#include <QObject>

class TestDestinationCheck : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void findsWhatAFatStickCannotStore();
    void caseClashesOnAVolumeThatFoldsCase();
};
