#pragma once

#include <QObject>

class TestArtwork : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void everyNamedPictureExistsAndDraws();
    void otherLooksDifferFromThePlainOnes();
};
