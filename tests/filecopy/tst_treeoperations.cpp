#include "tst_treeoperations.h"

#include "Fixtures.h"
#include "TestMachine.h"
#include "TreeCompare.h"
#include "Wait.h"
#include "core/MainThread.h"
#include "core/PropertyList.h"
#include "core/Resources.h"
#include "filecopy/Controller.h"
#include "filecopy/GetFilesSize.h"
#include "filecopy/NodeTreeOperator.h"
#include "filecopy/SystemFolder.h"

#include <QDirIterator>
#include <QMutex>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

namespace {

struct Recorder : ControllerDelegate {
    int reloads = 0;
    int buttonStates = 0;
    void reloadTreeList() override { ++reloads; }
    void changeSelectAllButtonState() override { ++buttonStates; }
};

struct SizeRecorder : GetFilesSizeDelegate {
    QMutex lock;
    QList<qint64> reports;
    std::atomic<bool> offMain{false};
    void allCopyFilesSize(qint64 size) override {
        if (!isMainThread())
            offMain = true;
        QMutexLocker l(&lock);
        reports << size;
    }
    QList<qint64> taken() {
        QMutexLocker l(&lock);
        return reports;
    }
};

// The sum the walk must equal: lstat sizes of regular files and links, nothing for folders.
quint64 independentSum(const QString& host) {
    quint64 sum = 0;
    QDirIterator it(host, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        struct stat st;
        if (::lstat(QFile::encodeName(it.next()).constData(), &st) == 0 &&
            (S_ISREG(st.st_mode) || S_ISLNK(st.st_mode)))
            sum += quint64(st.st_size);
    }
    return sum;
}

} // namespace

void TestTreeOperations::systemFilesMatchTheResourceListsWholePaths() {
    // No list, or an empty one: nothing is protected.
    QTemporaryDir resources;
    setResourceDirectory(resources.path());
    const QString list = resources.filePath("SystemFile.plist");
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/System"));
    QVERIFY(PropertyList::writeDictionary(list, {}));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/System"));
    // Keys beyond count - 1 are never looked at.
    QVERIFY(PropertyList::writeDictionary(
        list, {{"0", "/System"}, {"1", "/Library"}, {"2", "/private/var"}, {"7", "/Beyond"}}));
    const QList<QPair<QString, bool>> paths = {{"/System", true},          {"/private/var", true},
                                               {"/System/", false},        {"/system", false},
                                               {"/System/Library", false}, {"/Beyond", false}};
    for (const auto& [path, system] : paths)
        QVERIFY2(SystemFolder::isSystemFileWithFilePath(path) == system, qPrintable(path));
    QVERIFY(FileNode::initWithPath("/Library", "Library", true, nullptr)->isSystemFile());
    FileNodeRef user = FileNode::initWithPath("/Users", "Users", true, nullptr);
    user->setIsSystemFile(true); // stored, but the answer comes from the list
    QVERIFY(!user->isSystemFile());
    // The list is read on every call.
    QVERIFY(PropertyList::writeDictionary(list, {{"0", "/Users"}}));
    QVERIFY(user->isSystemFile());
    setResourceDirectory(QString());

    // The shipped list is a real resource file and protects the system folder, not user data.
    QVERIFY(!resourcePath("SystemFile", "plist").isEmpty());
    QVERIFY(SystemFolder::isSystemFileWithFilePath("/System"));
    QVERIFY(!SystemFolder::isSystemFileWithFilePath("/Users"));
}

void TestTreeOperations::insertsBySizeAsSingleInsertsWould() {
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

void TestTreeOperations::pathsStayAsBuiltWhateverBecomesOfTheFolders() {
    // The list shows the last component of the path, whatever name the node was given or set.
    FileNodeRef named = FileNode::initWithPath("/Volumes/Data/a.txt", "something else", false, nullptr);
    named->setDisplayName("ignored");
    QCOMPARE(named->displayName(), QStringLiteral("a.txt"));
    QCOMPARE(named->name(), QStringLiteral("something else"));
    named->setPath("/Volumes/Other/b.txt");
    QCOMPARE(named->displayName(), QStringLiteral("b.txt"));

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
    QCOMPARE(held->displayName(), QString::fromUtf8("\xe6\x97\xa5\xe6\x9c\xac.txt"));
    QCOMPARE(held->father(), nullptr);
    QCOMPARE(listed->path(), photos + QStringLiteral("/b.txt"));
    QCOMPARE(listed->father(), elsewhere.data());
}

void TestTreeOperations::ticksSpreadUpAndIntoOpenFolders() {
    Controller controller;
    Recorder recorder;
    controller.setADelegate(&recorder);
    // top (open) > mid (open) > a, b; top > other.
    FileNodeRef top = folderNode("/V/top");
    FileNodeRef mid = folderNode("/V/top/mid", 1, top.data());
    FileNodeRef other = fileNode("/V/top/other", 1, 1, top.data());
    FileNodeRef a = fileNode("/V/top/mid/a", 1, 1, mid.data());
    fileNode("/V/top/mid/b", 1, 1, mid.data());
    top->setIsExpand(true);
    mid->setIsExpand(true);
    // A click: the node's own rule, then its ancestors.
    const auto click = [&](const FileNodeRef& node, bool on) {
        controller.changeSelectWithNode(node.data(), on);
        controller.changeFatherNodeSelectStateWithFileNode(node.data(), on);
    };
    const auto states = [](const FileNodeList& nodes) {
        QList<qint64> out;
        for (const FileNodeRef& n : nodes)
            out << n->state();
        return out;
    };
    click(a, false);
    QCOMPARE(states({a, mid, top}), (QList<qint64>{0, 2, 2}));
    QVERIFY(recorder.reloads > 0 && recorder.buttonStates > 0);
    click(a, true);
    QCOMPARE(states({a, mid, top}), (QList<qint64>{1, 1, 1}));
    QVERIFY(controller.selectNodeArr().contains(a.data()));
    // Unticking a folder unticks its children; a top-level node only refreshes the screen.
    click(mid, false);
    QCOMPARE(states({a, mid, top}), (QList<qint64>{0, 0, 2}));
    QVERIFY(!controller.selectNodeArr().contains(mid.data()));
    const int reloads = recorder.reloads;
    controller.changeFatherNodeSelectStateWithFileNode(top.data(), false);
    QCOMPARE(recorder.reloads, reloads + 1);
    // A half-selected child alone half-selects its parent; none ticked unticks it, all tick it.
    for (const auto& [midState, otherState, parent] :
         {std::tuple(2, 0, 2), std::tuple(0, 0, 0), std::tuple(1, 1, 1)}) {
        mid->setState(midState);
        other->setState(otherState);
        controller.changeFatherNodeSelectStateWithFileNode((otherState ? other : mid).data(),
                                                           otherState == 1);
        QCOMPARE(top->state(), qint64(parent));
    }

    // Ticking a collapsed folder stops at its children, even at an open one's.
    FileNodeRef shut = folderNode("/V/shut", 0);
    FileNodeRef child = folderNode("/V/shut/child", 0, shut.data());
    FileNodeRef grandchild = fileNode("/V/shut/child/g", 1, 0, child.data());
    child->setIsExpand(true);
    controller.changeSelectWithNode(shut.data(), true);
    QCOMPARE(states({shut, child, grandchild}), (QList<qint64>{1, 1, 0}));
    shut->setIsExpand(true);
    controller.changeSelectWithNode(shut.data(), false);
    QCOMPARE(states({shut, child, grandchild}), (QList<qint64>{0, 0, 0}));
    controller.changeSelectWithNode(shut.data(), true);
    QCOMPARE(grandchild->state(), qint64(1));

    // The header's select-all pushes down only into expanded folders: one refresh of its own,
    // one more per expanded folder pushed down.
    FileNodeRef closed = folderNode("/V/closed");
    FileNodeRef closedChild = fileNode("/V/closed/c", 1, 1, closed.data());
    FileNodeRef file = fileNode("/V/file", 3);
    FileNodeArrayRef roots = makeFileNodeArray();
    for (const FileNodeRef& n : {file, mid, closed})
        roots->append(n);
    mid->setState(1);
    a->setState(1);
    controller.setARootArr(roots);
    recorder.reloads = recorder.buttonStates = 0;
    controller.selectAllFileNode(false);
    QCOMPARE(states({file, mid, a, closed, closedChild}), (QList<qint64>{0, 0, 0, 0, 1}));
    QCOMPARE(recorder.reloads, 2);
    QCOMPARE(recorder.buttonStates, 2);
}

void TestTreeOperations::diskWalkEqualsAnIndependentSum() {
    TestMachine mac;
    QRandomGenerator random(3);
    for (int i = 0; i < 400; ++i) {
        QString path = "/Volumes/Data/tree";
        const int depth = random.bounded(5);
        for (int d = 0; d < depth; ++d)
            path += QStringLiteral("/d%1").arg(random.bounded(4));
        writeSized(mac, path + QStringLiteral("/%1f%2").arg(i % 7 == 0 ? "." : "").arg(i),
                   random.bounded(3000));
    }
    makeFolder(mac, "/Volumes/Data/tree/empty/emptier");
    QVERIFY(makeLink("d1", mac.host("/Volumes/Data/tree/link-to-folder")));
    QVERIFY(makeLink("/nowhere/at/all", mac.host("/Volumes/Data/tree/dangling")));
    const quint64 expected = independentSum(mac.host("/Volumes/Data/tree"));
    QVERIFY(expected > 0);
    QCOMPARE(GetFilesSize::getFileSizeWithPat("/Volumes/Data/tree", 0), expected);
    // A file counts itself; a missing path counts nothing.
    writeSized(mac, "/Volumes/Data/one", 321);
    QCOMPARE(GetFilesSize::getFileSizeWithPat("/Volumes/Data/one", 9), quint64(330));
    QCOMPARE(GetFilesSize::getFileSizeWithPat("/Volumes/Data/missing", 9), quint64(9));
    // One entry's own size, as a listing shows it: a folder and a missing path are 0, a link is
    // itself.
    QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/one"), quint64(321));
    QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/tree"), quint64(0));
    QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/tree/dangling"), quint64(15));
    QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/missing"), quint64(0));
}

void TestTreeOperations::selectionSizeIsExactAndCancelSilencesEveryPass() {
    TestMachine mac;
    const auto sized = [&](const QString& path, qsizetype length, qint64 state, const FileNodeRef& father) {
        return writtenNode(mac, path, QByteArray(length, 'z'), state, father.data());
    };
    for (int i = 0; i < 300; ++i)
        writeSized(mac, QStringLiteral("/Volumes/Data/many/d%1/f%2").arg(i % 30).arg(i), 1);
    // Half-selected two deep: the exact total, in one report, whatever the timing.
    FileNodeRef top = folderNode("/Volumes/Data/top", 2);
    sized("/Volumes/Data/top/in", 7, 1, top);
    sized("/Volumes/Data/top/out", 9, 0, top);
    FileNodeRef mid = folderNode("/Volumes/Data/top/mid", 2, top.data());
    sized("/Volumes/Data/top/mid/deep", 40, 1, mid);
    sized("/Volumes/Data/top/mid/skip", 500, 0, mid);
    // A whole folder the list has opened counts its listed entries and walks what it has not
    // opened.
    writeSized(mac, "/Volumes/Data/opened/shut/g", 3);
    FileNodeRef opened = folderNode("/Volumes/Data/opened", 1);
    sized("/Volumes/Data/opened/f", 20, 1, opened);
    folderNode("/Volumes/Data/opened/shut", 1, opened.data());
    const FileNodeList nodes = {top, sized("/Volumes/Data/alone", 100, 1, FileNodeRef()),
                                folderNode("/Volumes/Data/many"), opened};
    for (int round = 0; round < 3; ++round) {
        SizeRecorder recorder;
        std::shared_ptr<GetFilesSize> sizer = GetFilesSize::create();
        sizer->setDelegate(&recorder);
        sizer->getSelectionSizeWithArr(nodes);
        QVERIFY(waitUntil([&] { return !recorder.taken().isEmpty(); }, 20000));
        QTest::qWait(50);
        QCOMPARE(recorder.taken(), QList<qint64>{7 + 40 + 100 + 300 + 23});
        QVERIFY(!recorder.offMain);
    }

    // Cancelled before or while it runs, the pass does not report.
    SizeRecorder silent;
    for (const bool before : {true, false}) {
        std::shared_ptr<GetFilesSize> sizer = GetFilesSize::create();
        sizer->setDelegate(&silent);
        if (before)
            sizer->cancelPass();
        sizer->getSelectionSizeWithArr(nodes);
        if (!before)
            sizer->cancelPass();
    }
    QTest::qWait(300);
    QCOMPARE(silent.taken(), QList<qint64>{});
}
