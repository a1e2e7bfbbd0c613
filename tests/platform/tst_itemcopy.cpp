#include "tst_itemcopy.h"

#include "TreeCompare.h"
#include "platform/ItemCopy.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

void TestItemCopy::copiesATreeWithDataModesTimesAndLinks() {
    QTemporaryDir dir;
    const QString source = dir.filePath("source");
    buildSampleTree(source);
    QString error;
    QVERIFY2(copyItem(source, dir.filePath("copy"), &error), qPrintable(error));
    const QStringList differences = compareTrees(source, dir.filePath("copy"));
    QVERIFY2(differences.isEmpty(), qPrintable(differences.join('\n')));
    // The links really are links in the copy.
    QCOMPARE(QFile::symLinkTarget(dir.filePath("copy/link-relative")), dir.filePath("copy/plain.txt"));
    QVERIFY(QFileInfo(dir.filePath("copy/link-to-folder")).isSymLink());
    QVERIFY(QFileInfo(dir.filePath("copy/link-dangling")).isSymLink());

    // The comparison itself notices a difference.
    writeHostFile(dir.filePath("copy/docs/a/b/deep.txt"), QByteArray(5000, 'e'));
    QVERIFY(!compareTrees(source, dir.filePath("copy")).isEmpty());
}

void TestItemCopy::copiesSingleFilesAndLinks() {
    QTemporaryDir dir;
    writeHostFile(dir.filePath("one.txt"), "single");
    setMode(dir.filePath("one.txt"), 0604);
    setModificationTime(dir.filePath("one.txt"), 1000000000, 42);
    QVERIFY(copyItem(dir.filePath("one.txt"), dir.filePath("two.txt"), nullptr));
    QVERIFY(compareTrees(dir.filePath("one.txt"), dir.filePath("two.txt")).isEmpty());

    QVERIFY(makeLink("one.txt", dir.filePath("link")));
    QVERIFY(copyItem(dir.filePath("link"), dir.filePath("link-copy"), nullptr));
    QVERIFY(QFileInfo(dir.filePath("link-copy")).isSymLink());
    QCOMPARE(QFile::symLinkTarget(dir.filePath("link-copy")), dir.filePath("one.txt"));
}

void TestItemCopy::refusesAnExistingDestination() {
    QTemporaryDir dir;
    writeHostFile(dir.filePath("a"), "new");
    writeHostFile(dir.filePath("b"), "old");
    QString error;
    QVERIFY(!copyItem(dir.filePath("a"), dir.filePath("b"), &error));
    QVERIFY(error.contains(dir.filePath("a")));
    QCOMPARE(readHostFile(dir.filePath("b")), QByteArray("old"));

    QDir(dir.path()).mkpath("folder");
    QVERIFY(!copyItem(dir.filePath("a"), dir.filePath("folder"), nullptr));
}

void TestItemCopy::reportsAMissingSource() {
    QTemporaryDir dir;
    QString error;
    QVERIFY(!copyItem(dir.filePath("nothing"), dir.filePath("copy"), &error));
    QVERIFY(!error.isEmpty());
    QVERIFY(!QFileInfo::exists(dir.filePath("copy")));
}
