#pragma once

#include <QObject>

// Reading the restore tool's output: the stages, tenths and status texts that each way of
// cutting it into chunks yields, answering its question, and the end verdict.
class TestAsrOutput : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void reportsOfEachCut_data();
    void reportsOfEachCut();
    void labelsAndRepeats();
    void verdict_data();
    void verdict();
};

// The clone target control: which USB drives it lists and how it follows them.
class TestUSBControl : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void listingTakesOnlyLargeUsbDrives();
    void plugAndPullKeepTheListRight();
    void concurrentPlugAndPull();
};

// The clone engine on an emulated Mac: what it runs, in what order and with which arguments,
// the reports it gives for every way the restore tool delivers its output, its failures and
// stops, and the last look at the target before the erase.
class TestBootable : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void clonesInEveryDelivery_data();
    void clonesInEveryDelivery();
    void endsEarly_data();
    void endsEarly();
    void rootOnlyWhereItWasGranted();
    void targetSwappedBeforeTheErase();
    void targetRefusals_data();
    void targetRefusals();
};
