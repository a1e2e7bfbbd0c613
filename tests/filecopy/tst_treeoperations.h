#pragma once

#include <QObject>

// The file tree: its nodes, the ticks a click spreads, and the sizes of what is selected.
class TestTreeOperations : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void systemFilesMatchTheResourceListsWholePaths();
    void insertsBySizeAsSingleInsertsWould();
    void pathsStayAsBuiltWhateverBecomesOfTheFolders();
    void ticksSpreadUpAndIntoOpenFolders();
    void diskWalkEqualsAnIndependentSum();
    void selectionSizeIsExactAndCancelSilencesEveryPass();
};
