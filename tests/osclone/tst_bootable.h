#pragma once

#include <QObject>

// The clone engine on an emulated Mac: what it runs, in what order and with which arguments,
// the reports it gives for every way the restore tool delivers its output, its failures and
// cancels, and the last look at the target before the erase.
class TestBootable : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void clonesInEveryDelivery_data();
    void clonesInEveryDelivery();
    void fileSystemBySystemVersion_data();
    void fileSystemBySystemVersion();
    void failures_data();
    void failures();
    void cancelAtEachStage_data();
    void cancelAtEachStage();
    void rootOnlyWhereItWasGranted();
    void targetSwappedBeforeTheErase();
    void targetRefusals_data();
    void targetRefusals();
};
