#pragma once

#include <QObject>

class TestUpdateInfo : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void readsVersionAndLinesInNumberOrder();
    void buildNumbersOnlyFromWholeNumbers();
    void unusableFilesAndBounds();
    void testOriginOnlyReplacesLoopbackOrigins();
};
