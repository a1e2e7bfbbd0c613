#pragma once

#include <QObject>

class TestGetFilesSize : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void diskWalkEqualsAnIndependentSum();
    void plainPassReportsOnceOnTheMainThread();
    void halfSelectedFoldersReportOnTheirOwn();
    void selectionSizeIsExactAndCancelSilencesEveryPass();
};
