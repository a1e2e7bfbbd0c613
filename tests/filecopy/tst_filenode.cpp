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

void TestFileNode::systemFilesMatchTheResourceListsWholePaths() {
    // No list, or an empty one: nothing is protected.
    QTemporaryDir resources;
    setResourceDirectory(resources.path());
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/System"));
    QVERIFY(PropertyList::writeDictionary(resources.filePath("SystemFile.plist"), {}));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/System"));

    QVERIFY(PropertyList::writeDictionary(resources.filePath("SystemFile.plist"),
                                          {{"0", "/System"},
                                           {"1", "/Library"},
                                           {"2", "/private/var"},
                                           // keys beyond count - 1 are never looked at
                                           {"7", "/Beyond"}}));
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

void TestFileNode::pathsStayAsBuiltWhateverBecomesOfTheFolders() {
    // A node keeps the path it was built with: its folders renamed, the node moved to another
    // father, the folders gone while the node is held. Built and unicode paths alike.
    const QString top = QString::fromUtf8("/Volumes/Caf\xc3\xa9");
    const QString photos = top + QStringLiteral("/Fotos 2024");
    const QString photo = photos + QString::fromUtf8("/\xe6\x97\xa5\xe6\x9c\xac.txt");
    FileNodeRef held, listed, elsewhere = folderNode("/Volumes/Other");
    {
        FileNodeRef volume = folderNode(top);
        FileNodeRef folder = folderNode(photos, 1, volume.data());
        held = fileNode(photo, 5, 1, folder.data());
        listed = FileNode::fromListing(folder.data(), "/b.txt", 5, false, folder.data());
        QCOMPARE(listed->path(), photos + QStringLiteral("/b.txt"));
        QCOMPARE(listed->name(), QStringLiteral("b.txt"));
        // A path that does not begin with its father's stands as given.
        QCOMPARE(FileNode::initWithPath("/x/y", "y", false, folder.data())->path(), QStringLiteral("/x/y"));

        folder->setPath("/Volumes/Renamed");
        QCOMPARE(folder->path(), QStringLiteral("/Volumes/Renamed"));
        QCOMPARE(folder->name(), QStringLiteral("Fotos 2024"));
        QCOMPARE(held->path(), photo);
        // Nodes built after the rename continue the new path.
        QCOMPARE(FileNode::fromListing(folder.data(), "/c", 1, false)->path(),
                 QStringLiteral("/Volumes/Renamed/c"));
        volume->setName("Renamed too");
        QCOMPARE(volume->path(), top);

        listed->setFather(elsewhere.data());
        QCOMPARE(listed->path(), photos + QStringLiteral("/b.txt"));
        QCOMPARE(held->father(), folder.data());
    }
    // Both folders are gone; the node held keeps its path and forgets its father.
    QCOMPARE(held->path(), photo);
    QCOMPARE(held->pathUtf8(), photo.toUtf8());
    QCOMPARE(held->name(), QString::fromUtf8("\xe6\x97\xa5\xe6\x9c\xac.txt"));
    QCOMPARE(held->father(), nullptr);
    QCOMPARE(listed->path(), photos + QStringLiteral("/b.txt"));
    QCOMPARE(listed->father(), elsewhere.data());
}
