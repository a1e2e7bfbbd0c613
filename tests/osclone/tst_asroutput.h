#pragma once

#include <QObject>

// Reading the restore tool's output: the stages, tenths and status texts that each way of
// cutting it into chunks yields, answering its question, and the end verdict.
class TestAsrOutput : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void piecesAsTheToolWritesThem();
    void linesAndBlocks();
    void splitPercentageAndMarkerOrder();
    void promptAloneOrWithText();
    void verdict_data();
    void verdict();
};
