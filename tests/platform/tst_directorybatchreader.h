#pragma once

#include <QObject>

class TestDirectoryBatchReader : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void readsBatchesOfFortyWithTypesAndLengths();
    void fullLastBatchIsFollowedByAnEmptyEnd();
    void opensFoldersOnlyAndFollowsOnlyTheUsersLink();
};
