#pragma once

#include <QObject>

// The file tree: its nodes, the ticks a click spreads, the sizes of what is selected, and the
// listings that fill it.
class TestTreeOperations : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void systemFilesMatchTheResourceListsWholePaths();
    void insertsBySizeAsSingleInsertsWould();
    void pathsStayAsBuiltWhateverBecomesOfTheFolders();
    void ticksSpreadUpAndIntoOpenFolders();
    void diskWalkEqualsAnIndependentSum();
    void selectionSizeIsExactAndCancelSilencesEveryPass();
    void listingsAtTheTopAndOnDemand();
    void listsWhileTheListReadsAndStopsWithItsController();
};
