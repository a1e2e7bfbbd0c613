#include "tst_filenode.h"

#include "Fixtures.h"
#include "core/PropertyList.h"
#include "core/Resources.h"
#include "filecopy/FileNode.h"
#include "filecopy/SystemFolder.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

void TestFileNode::displayNameIsThePathsTail() {
    // The list shows the last component of the path, whatever name the node was given or set.
    FileNodeRef n = FileNode::initWithPath("/Volumes/Data/a.txt", "something else", false, nullptr);
    n->setDisplayName("ignored");
    QCOMPARE(n->displayName(), QStringLiteral("a.txt"));
    QCOMPARE(n->name(), QStringLiteral("something else"));
    n->setPath("/Volumes/Other/b.txt");
    QCOMPARE(n->displayName(), QStringLiteral("b.txt"));
    const QString accented = QString::fromUtf8("/Volumes/Caf\xc3\xa9/\xe6\x97\xa5\xe6\x9c\xac.txt");
    QCOMPARE(FileNode::initWithPath(accented, "", false, nullptr)->displayName(),
             QString::fromUtf8("\xe6\x97\xa5\xe6\x9c\xac.txt"));
}

void TestFileNode::systemFilesMatchWholePathsExactly() {
    QTemporaryDir resources;
    QVERIFY(PropertyList::writeDictionary(resources.filePath("SystemFile.plist"),
                                          {{"0", "/System"},
                                           {"1", "/Library"},
                                           {"2", "/private/var"},
                                           // keys beyond count - 1 are never looked at
                                           {"7", "/Beyond"}}));
    setResourceDirectory(resources.path());
    QVERIFY(SystemFolder::isSystemFileWithFilePath("/System"));
    QVERIFY(SystemFolder::isSystemFileWithFilePath("/private/var"));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/System/"));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/system"));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/System/Library"));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/Beyond"));
    QVERIFY(FileNode::initWithPath("/Library", "Library", true, nullptr)->isSystemFile());
    FileNodeRef user = FileNode::initWithPath("/Users", "Users", true, nullptr);
    user->setIsSystemFile(true); // stored, but the answer comes from the list
    QVERIFY(!user->isSystemFile());

    // The list is read on every call.
    QVERIFY(PropertyList::writeDictionary(resources.filePath("SystemFile.plist"), {{"0", "/Users"}}));
    QVERIFY(user->isSystemFile());
    setResourceDirectory(QString());
}

void TestFileNode::systemFilesNeedTheResource() {
    QTemporaryDir nowhere;
    setResourceDirectory(nowhere.path());
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/System"));
    QVERIFY(PropertyList::writeDictionary(nowhere.filePath("SystemFile.plist"), {}));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/System"));
    setResourceDirectory(QString());

    // The shipped list is a real resource file and protects the system folder, not user data.
    QVERIFY(!resourcePath("SystemFile", "plist").isEmpty());
    QVERIFY(SystemFolder::isSystemFileWithFilePath("/System"));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/Users"));
}

void TestFileNode::insertsBySizeAsSingleInsertsWould() {
    // Reference: the rule as stated, a linear search for the first element not larger.
    auto linearInsert = [](FileNodeList& list, const FileNodeRef& node) {
        qsizetype i = 0;
        while (i < list.size() && list[i]->size() > node->size())
            ++i;
        list.insert(i, node);
    };
    QRandomGenerator random(7);
    for (int round = 0; round < 20; ++round) {
        FileNodeArray single, merged;
        FileNodeList reference;
        int serial = 0;
        for (int step = 0; step < 30; ++step) {
            FileNodeList group;
            const int groupSize = random.bounded(1, 12);
            for (int k = 0; k < groupSize; ++k) {
                // Few distinct sizes, many ties, zeros and folders appended in between.
                const bool folder = random.bounded(5) == 0;
                FileNodeRef n = folder ? folderNode(QStringLiteral("/d%1").arg(serial++))
                                       : fileNode(QStringLiteral("/f%1").arg(serial++), random.bounded(4));
                if (folder) {
                    single.append(n);
                    merged.append(n);
                    reference.append(n);
                } else {
                    single.insertBySize(n);
                    linearInsert(reference, n);
                    group.append(n);
                }
            }
            merged.insertAllBySize(group);
        }
        QCOMPARE(describe(single.toList()), describe(reference));
        // folders were appended before the group's files were merged, as a listing does it
        QCOMPARE(describe(merged.toList()), describe(reference));
    }
    FileNodeArray array;
    array.append(fileNode("/x", 1));
    QVERIFY(!array.at(1));
    QVERIFY(!array.at(-1));
    QCOMPARE(array.at(0)->name(), QStringLiteral("x"));
}

void TestFileNode::childrenForgetAParentThatIsGone() {
    FileNodeRef child;
    {
        FileNodeRef parent = folderNode("/p");
        child = fileNode("/p/c", 1, 1, parent.data());
        QCOMPARE(child->father(), parent.data());
    }
    QCOMPARE(child->father(), nullptr);
}
