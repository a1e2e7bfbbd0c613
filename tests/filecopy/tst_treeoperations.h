#pragma once

#include <QObject>

class TestTreeOperations : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void measuredWalkOrdersAndSumsTheSubtree();
    void reordersOnTheMainThreadAndStopLeavesWhatWasBuilt();
    void untickingAChildHalfSelectsEveryAncestor();
    void tickingACollapsedFolderStopsAtItsChildren();
    void aHalfSelectedChildAloneHalfSelectsTheParent();
    void selectAllPushesDownOnlyIntoExpandedFolders();
};
