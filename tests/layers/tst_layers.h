#pragma once
#include <QObject>

class TestLayers : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void sourceTreeIncludesRunOneWay();
    void wrongIncludesAreFound();
    void featureCyclesAreFound();
};
