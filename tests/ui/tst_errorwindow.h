#pragma once

#include <QObject>

class TestErrorWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void showsTheTextAtTheTopMiddleUntilDone();
};
