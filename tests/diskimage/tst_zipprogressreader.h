#pragma once

#include <QObject>

class TestZipProgressReader : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void countsEntriesHoweverTheOutputIsSplit();
    void countsWhatZipCouldNotTake();
    void keepsOnlyTheHeadOfAnEndlessLine();
};
