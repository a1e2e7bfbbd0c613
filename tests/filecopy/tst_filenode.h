#pragma once

#include <QObject>

class TestFileNode : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void displayNameIsThePathsTail();
    void systemFilesMatchTheResourceListsWholePaths();
    void insertsBySizeAsSingleInsertsWould();
    void pathsStayAsBuiltWhateverBecomesOfTheFolders();
};
