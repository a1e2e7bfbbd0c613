#pragma once

#include <QObject>

class TestErrorWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void showsTheTextAsGivenAtTheTopMiddle();
    void doneClosesAndDeletesIt();
    void longerTextsGrowThePopup();
};
