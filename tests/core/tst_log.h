#pragma once
#include <QObject>

class TestLog : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void createsReopensAndAppendsInTheLineFormat();
    void writesLongMessagesWholeAndLinesWhole();
};
