#pragma once

#include <QObject>

class TestFileNode : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void displayNameIsThePathsTail();
    void systemFilesMatchWholePathsExactly();
    void systemFilesNeedTheResource();
    void insertsBySizeAsSingleInsertsWould();
    void pathsStayAsBuiltWhateverBecomesOfTheFolders();
};
