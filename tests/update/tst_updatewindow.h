#pragma once

#include <QObject>

class TestUpdateWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void newerVersionListsWhatIsNewInOrder();
    void everyOtherAnswerEndsWithoutAnUpdate();
    void listHeightFollowsItsRows();
    void closingAndQuittingFadeOutFirst();
    void menuOpensTheWindowAndQuitWaitsForTheFade();
};
