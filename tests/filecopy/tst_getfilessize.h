#pragma once

#include <QObject>

class TestGetFilesSize : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void diskWalkEqualsAnIndependentSum();
    void emptySelectionReportsZeroOnce();
    void selectedFileAndFolderReportOnceOnTheMainThread();
    void storedFileSizesAndFreshFolderSizes();
    void halfSelectedFoldersReportOnTheirOwn();
    void selectionSizeIsExactAndCancelSilencesEveryPass();
};
