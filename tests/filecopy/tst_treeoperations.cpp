#include "tst_treeoperations.h"

#include "Fixtures.h"
#include "TestMachine.h"
#include "TreeCompare.h"
#include "Wait.h"
#include "core/MainThread.h"
#include "filecopy/Controller.h"
#include "filecopy/NodeTreeOperator.h"

#include <QTest>
#include <QThreadPool>

#include <atomic>
#include <functional>

namespace {

// Stands in for the scan's top-level array: counts the re-sorts and checks their thread.
struct RootSorter : NodeTreeOperatorDelegate {
    std::atomic<int> sorts{0};
    std::atomic<bool> offMain{false};
    std::function<void(int)> onSort;
    void doRootArrSort() override {
        if (!isMainThread())
            offMain = true;
        const int n = ++sorts;
        if (onSort)
            onSort(n);
    }
};

// Runs a walk on the pool, as the full-tree listing does, and waits for it on the main loop
// (the walk needs the main thread for its re-sorts).
quint64 walkInBackground(NodeTreeOperator& op, const QString& path, FileNode* root) {
    std::atomic<bool> done{false};
    quint64 result = 0;
    QThreadPool::globalInstance()->start([&] {
        result = op.getFileSizeWithPat(path, root, 0);
        done = true;
    });
    if (!waitUntil([&] { return done.load(); }, 20000))
        qFatal("walk did not end");
    return result;
}

struct Recorder : ControllerDelegate {
    int reloads = 0;
    int buttonStates = 0;
    void reloadTreeList() override { ++reloads; }
    void changeSelectAllButtonState() override { ++buttonStates; }
};

} // namespace

void TestTreeOperations::measuredWalkOrdersAndSumsTheSubtree() {
    TestMachine mac;
    writeSized(mac, "/Volumes/Data/top/ten", 10);
    writeSized(mac, "/Volumes/Data/top/thirty", 30);
    writeSized(mac, "/Volumes/Data/top/twenty", 20);
    writeSized(mac, "/Volumes/Data/top/sub/.hidden", 5);
    writeSized(mac, "/Volumes/Data/top/sub/deeper/big", 100);
    writeSized(mac, "/Volumes/Data/top/.DS_Store", 4); // the skip list is for the top level only
    makeFolder(mac, "/Volumes/Data/top/empty");
    QVERIFY(makeLink("sub", mac.host("/Volumes/Data/top/link"))); // counted as itself, 3 bytes

    NodeTreeOperator op;
    RootSorter sorter;
    op.setOpDelegate(&sorter);
    FileNodeRef top = folderNode("/Volumes/Data/top");
    const quint64 total = walkInBackground(op, "/Volumes/Data/top", top.data());
    QCOMPARE(total, quint64(10 + 30 + 20 + 5 + 100 + 4 + 3));
    QCOMPARE(top->size(), total);
    QCOMPARE(describe(top->children().toList()), (QStringList{"sub:105", "thirty:30", "twenty:20", "ten:10",
                                                              ".DS_Store:4", "link:3", "empty:0"}));
    const FileNodeRef sub = top->children().at(0);
    QCOMPARE(sub->path(), QStringLiteral("/Volumes/Data/top/sub"));
    QCOMPARE(sub->father(), top.data());
    QVERIFY(sub->isDirectory());
    QCOMPARE(describe(sub->children().toList()), (QStringList{"deeper:100", ".hidden:5"}));
    QCOMPARE(sub->children().at(0)->children().at(0)->path(),
             QStringLiteral("/Volumes/Data/top/sub/deeper/big"));
    const FileNodeRef empty = top->children().at(6);
    QVERIFY(empty->isDirectory() && empty->children().isEmpty());
    QVERIFY(!top->children().at(5)->isDirectory()); // the link is not walked into
    QVERIFY(sorter.sorts > 0);
    QVERIFY(!sorter.offMain);

    // A file given as the folder counts itself and builds nothing.
    FileNodeRef lone = folderNode("/x");
    QCOMPARE(op.getFileSizeWithPat("/Volumes/Data/top/ten", lone.data(), 7), quint64(17));
    QVERIFY(lone->children().isEmpty());
    QCOMPARE(op.getFileSizeWithPat("/Volumes/Data/missing", lone.data(), 7), quint64(7));
    // One entry's own size: a folder and a missing path are 0, a link is itself.
    QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/top/thirty"), quint64(30));
    QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/top/sub"), quint64(0));
    QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/top/link"), quint64(3));
    QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/missing"), quint64(0));
}

void TestTreeOperations::reordersOnTheMainThreadAndStopLeavesWhatWasBuilt() {
    // The top-level delegate sees one re-sort per entry of the top folder's own walk, with the
    // folder's size the running sum at each; a stop at the seventh keeps those seven.
    TestMachine mac;
    for (int i = 0; i < 100; ++i)
        writeSized(mac, QStringLiteral("/Volumes/Data/top/f%1").arg(i), 1 + i);
    NodeTreeOperator op;
    RootSorter sorter;
    FileNodeRef top = folderNode("/Volumes/Data/top");
    QList<quint64> seenSizes;
    sorter.onSort = [&](int n) {
        seenSizes << top->size();
        if (n == 7)
            op.stopScan(); // from the main thread, as the list would
    };
    op.setOpDelegate(&sorter);
    const quint64 total = walkInBackground(op, "/Volumes/Data/top", top.data());
    QVERIFY(op.isStopScan());
    QCOMPARE(top->children().count(), 7);
    quint64 sum = 0;
    for (const FileNodeRef& n : top->children().toList())
        sum += n->size();
    QCOMPARE(total, sum);
    QCOMPARE(top->size(), sum);
    QCOMPARE(seenSizes.size(), 7);
    for (int i = 1; i < seenSizes.size(); ++i)
        QVERIFY(seenSizes[i] > seenSizes[i - 1]);
    QCOMPARE(seenSizes.last(), sum);
    QVERIFY(!sorter.offMain);
}

void TestTreeOperations::untickingAChildHalfSelectsEveryAncestor() {
    Controller controller;
    Recorder recorder;
    controller.setADelegate(&recorder);
    FileNodeRef top = folderNode("/V/top");
    FileNodeRef mid = folderNode("/V/top/mid", 1, top.data());
    fileNode("/V/top/other", 1, 1, top.data());
    FileNodeRef a = fileNode("/V/top/mid/a", 1, 1, mid.data());
    fileNode("/V/top/mid/b", 1, 1, mid.data());
    top->setIsExpand(true);
    mid->setIsExpand(true);

    // A click: the node's own rule, then its ancestors.
    controller.changeSelectWithNode(a.data(), false);
    controller.changeFatherNodeSelectStateWithFileNode(a.data(), false);
    QCOMPARE(a->state(), qint64(0));
    QCOMPARE(mid->state(), qint64(2));
    QCOMPARE(top->state(), qint64(2));
    QVERIFY(recorder.reloads > 0 && recorder.buttonStates > 0);

    controller.changeSelectWithNode(a.data(), true);
    controller.changeFatherNodeSelectStateWithFileNode(a.data(), true);
    QCOMPARE(mid->state(), qint64(1));
    QCOMPARE(top->state(), qint64(1));
    QVERIFY(controller.selectNodeArr().contains(a.data()));

    // Unticking every child unticks the parent; a top-level node only refreshes the screen.
    controller.changeSelectWithNode(mid.data(), false);
    controller.changeFatherNodeSelectStateWithFileNode(mid.data(), false);
    QCOMPARE(a->state(), qint64(0));
    QCOMPARE(top->state(), qint64(2));
    QVERIFY(!controller.selectNodeArr().contains(mid.data()));
    const int reloads = recorder.reloads;
    controller.changeFatherNodeSelectStateWithFileNode(top.data(), false);
    QCOMPARE(recorder.reloads, reloads + 1);
}

void TestTreeOperations::tickingACollapsedFolderStopsAtItsChildren() {
    Controller controller;
    FileNodeRef top = folderNode("/V/top", 0);
    FileNodeRef child = folderNode("/V/top/child", 0, top.data());
    FileNodeRef grandchild = fileNode("/V/top/child/g", 1, 0, child.data());
    child->setIsExpand(true); // expanded, but its parent is collapsed
    controller.changeSelectWithNode(top.data(), true);
    QCOMPARE(top->state(), qint64(1));
    QCOMPARE(child->state(), qint64(1));
    QCOMPARE(grandchild->state(), qint64(0));

    top->setIsExpand(true);
    controller.changeSelectWithNode(top.data(), false);
    QCOMPARE(child->state(), qint64(0));
    QCOMPARE(grandchild->state(), qint64(0));
    controller.changeSelectWithNode(top.data(), true);
    QCOMPARE(grandchild->state(), qint64(1));
}

void TestTreeOperations::aHalfSelectedChildAloneHalfSelectsTheParent() {
    Controller controller;
    FileNodeRef top = folderNode("/V/top", 1);
    FileNodeRef half = folderNode("/V/top/half", 2, top.data());
    FileNodeRef off = fileNode("/V/top/off", 1, 0, top.data());
    fileNode("/V/top/half/x", 1, 1, half.data());
    controller.changeFatherNodeSelectStateWithFileNode(half.data(), false);
    QCOMPARE(top->state(), qint64(2));
    half->setState(0);
    controller.changeFatherNodeSelectStateWithFileNode(half.data(), false);
    QCOMPARE(top->state(), qint64(0));
    off->setState(1);
    half->setState(1);
    controller.changeFatherNodeSelectStateWithFileNode(off.data(), true);
    QCOMPARE(top->state(), qint64(1));
}

void TestTreeOperations::selectAllPushesDownOnlyIntoExpandedFolders() {
    Controller controller;
    Recorder recorder;
    controller.setADelegate(&recorder);
    FileNodeArrayRef roots = makeFileNodeArray();
    FileNodeRef open = folderNode("/V/open");
    FileNodeRef closed = folderNode("/V/closed");
    FileNodeRef file = fileNode("/V/file", 3);
    open->setIsExpand(true);
    FileNodeRef openChild = fileNode("/V/open/c", 1, 1, open.data());
    FileNodeRef closedChild = fileNode("/V/closed/c", 1, 1, closed.data());
    for (const FileNodeRef& n : {file, open, closed})
        roots->append(n);
    controller.setARootArr(roots);

    controller.selectAllFileNode(false);
    QCOMPARE(file->state(), qint64(0));
    QCOMPARE(open->state(), qint64(0));
    QCOMPARE(closed->state(), qint64(0));
    QCOMPARE(openChild->state(), qint64(0));
    QCOMPARE(closedChild->state(), qint64(1));
    // one refresh of its own, one more per expanded folder pushed down
    QCOMPARE(recorder.reloads, 2);
    QCOMPARE(recorder.buttonStates, 2);
}
