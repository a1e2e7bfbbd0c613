#include "tst_eumeroot.h"

#include "Fixtures.h"
#include "TestMachine.h"
#include "TreeCompare.h"
#include "Wait.h"
#include "core/MainThread.h"
#include "filecopy/Controller.h"
#include "filecopy/EumeRoot.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTest>

#include <atomic>

namespace {

struct ScreenRecorder : ControllerDelegate {
    std::atomic<int> copyScans{0};
    std::atomic<int> imageScans{0};
    std::atomic<int> reloads{0};
    void copyFileScanFiles() override { ++copyScans; }
    void endScanFiles() override { ++imageScans; }
    void reloadTreeList() override { ++reloads; }
};

struct EndRecorder : EumeRootDelegate {
    std::atomic<int> ends{0};
    std::atomic<int> nodeEnds{0};
    void endScan() override { ++ends; }
    void endEumeNode() override { ++nodeEnds; }
};

// Lists a path's top level and waits for the listing to finish (by its progress, as the file
// list does, or by endScan).
FileNodeList listTopLevel(const QString& path, EndRecorder* ends = nullptr) {
    EndRecorder local;
    EndRecorder* recorder = ends ? ends : &local;
    std::shared_ptr<EumeRoot> root = EumeRoot::create();
    root->setEumeDelegate(recorder);
    FileNodeArrayRef array = makeFileNodeArray();
    const int before = recorder->ends;
    root->eumeAllRootFileNodeWithRootArr(array, path);
    if (!waitUntil([&] { return recorder->ends > before; }, 20000))
        qWarning("listing did not end");
    root->setEumeDelegate(nullptr);
    return array->toList();
}

// Asks the Controller for a node's children and waits until the listing has come back.
bool expandAndWait(Controller& controller, FileNode* node) {
    controller.getNodeListWithFaterNode(node);
    return waitUntil([&] { return controller.pendingNodeListings() == 0; }, 10000);
}

QStringList names(const FileNodeList& nodes) {
    QStringList out;
    for (const FileNodeRef& n : nodes)
        out << n->name();
    return out;
}

} // namespace

void TestEumeRoot::topLevelListing() {
    // Files first, largest first, then folders (a link to one too) in the disk's order, none of
    // them measured; the skip list holds at the top only.
    TestMachine mac;
    for (const char* skipped : {".Trashes", ".fseventsd", ".Spotlight-V100"})
        makeFolder(mac, QStringLiteral("/Volumes/Data/") + skipped);
    writeSized(mac, "/Volumes/Data/.DS_Store", 10);
    writeSized(mac, "/Volumes/Data/.Trash", 1);
    writeSized(mac, "/Volumes/Data/.ds_store", 2); // other case: kept
    writeSized(mac, "/Volumes/Data/.profile", 3);  // other hidden names: kept
    writeSized(mac, "/Volumes/Data/docs/.DS_Store", 6);
    writeSized(mac, "/Volumes/Data/docs/.Trashes/x", 1);
    writeSized(mac, "/Volumes/Data/five", 5);
    makeFolder(mac, "/Volumes/Data/B");
    writeSized(mac, "/Volumes/Data/five hundred", 500);
    writeSized(mac, "/Volumes/Data/fifty", 50);
    QVERIFY(makeLink("docs", mac.host("/Volumes/Data/linked")));
    EndRecorder ends;
    const FileNodeList top = listTopLevel("/Volumes/Data", &ends);
    QCOMPARE(ends.ends.load(), 1);
    QStringList folders;
    for (const QString& name : listingOrder(mac.host("/Volumes/Data"))) {
        if (name == "docs" || name == "B" || name == "linked")
            folders << name + ":0";
    }
    QCOMPARE(describe(top),
             QStringList({"five hundred:500", "fifty:50", "five:5", ".profile:3", ".ds_store:2"}) + folders);
    for (const FileNodeRef& n : top) {
        QCOMPARE(n->father(), nullptr);
        QCOMPARE(n->state(), qint64(1));
        QCOMPARE(n->path(), "/Volumes/Data/" + n->name());
        QCOMPARE(n->isDirectory(), n->size() == 0);
    }
    // Below the top every entry is kept.
    Controller controller;
    const FileNodeRef docs = top.at(top.size() - folders.size() + folders.indexOf("docs:0"));
    QVERIFY(expandAndWait(controller, docs.data()));
    QStringList below = names(docs->children().toList());
    below.sort();
    QCOMPARE(below, (QStringList{".DS_Store", ".Trashes"}));

    // Listed from the root, paths have a single slash.
    makeFolder(mac, "/Applications");
    writeSized(mac, "/mach_file", 4);
    const FileNodeList root = listTopLevel("/");
    for (const FileNodeRef& n : root)
        QCOMPARE(n->path(), "/" + n->name());
    QVERIFY(names(root).contains("Applications"));
    QCOMPARE(root.first()->path(), QStringLiteral("/mach_file"));

    // A file lists itself, into the array set by then; a missing path lists nothing and says
    // nothing. A real listing's progress is 100 once every entry is in the array.
    writeSized(mac, "/Volumes/Data/only.bin", 77);
    std::shared_ptr<EumeRoot> lister = EumeRoot::create();
    lister->setEumeDelegate(&ends);
    FileNodeArrayRef array = makeFileNodeArray();
    QCOMPARE(lister->getProgress(), 0.0f);
    lister->eumeRootListNode("/Volumes/Data/only.bin");
    lister->setRootNodeArr(array);
    lister->eumeRootListNode("/Volumes/Data/only.bin");
    lister->eumeRootListNode("/Volumes/Missing");
    QCOMPARE(describe(array->toList()), QStringList{"only.bin:77"});
    QCOMPARE(array->at(0)->path(), QStringLiteral("/Volumes/Data/only.bin"));
    QVERIFY(!array->at(0)->isDirectory());
    QCOMPARE(ends.ends.load(), 1);
    for (int i = 0; i < 50; ++i)
        writeSized(mac, QStringLiteral("/Volumes/Many/f%1").arg(i), i);
    lister->setRootNodeArr(makeFileNodeArray());
    lister->eumeRootListNode("/Volumes/Many");
    QCOMPARE(lister->getProgress(), 100.0f);
    QCOMPARE(lister->rootNodeArr()->count(), 50);
    QCOMPARE(ends.ends.load(), 2);
    lister->setEumeDelegate(nullptr);
}

void TestEumeRoot::onDemandListingFollowsTheFathersState() {
    TestMachine mac;
    writeSized(mac, "/Volumes/Data/docs/a", 3);
    writeSized(mac, "/Volumes/Data/docs/b", 4);
    makeFolder(mac, "/Volumes/Data/docs/sub");
    writeSized(mac, "/Volumes/Data/docs/sub/deep", 9);
    writeSized(mac, "/Volumes/Data/plain", 8);

    Controller controller;
    ScreenRecorder screen;
    controller.setADelegate(&screen);
    for (const qint64 state : {0, 1, 2}) {
        // The children take the state the father has when they arrive, not when asked for.
        FileNodeRef docs = folderNode("/Volumes/Data/docs", 1 - state % 2);
        controller.getNodeListWithFaterNode(docs.data());
        docs->setState(state);
        QVERIFY(waitUntil([&] { return controller.pendingNodeListings() == 0; }, 10000));
        const FileNodeList children = docs->children().toList();
        QCOMPARE(children.size(), 3);
        QStringList expectedOrder = listingOrder(mac.host("/Volumes/Data/docs"));
        QCOMPARE(names(children), expectedOrder);
        for (const FileNodeRef& c : children) {
            QCOMPARE(c->state(), state == 0 ? qint64(0) : qint64(1));
            QCOMPARE(c->father(), docs.data());
            QCOMPARE(c->path(), "/Volumes/Data/docs/" + c->name());
            QCOMPARE(c->size(), c->name() == "a" ? quint64(3) : c->name() == "b" ? quint64(4) : quint64(0));
            QCOMPARE(c->isDirectory(), c->name() == "sub");
        }
    }
    QCOMPARE(screen.reloads.load(), 3); // endEumeNode redraws the list

    // A file node lists itself as its one child; a missing path lists nothing and says nothing.
    FileNodeRef plain = fileNode("/Volumes/Data/plain", 8);
    QVERIFY(expandAndWait(controller, plain.data()));
    QCOMPARE(describe(plain->children().toList()), QStringList{"plain:8"});
    FileNodeRef gone = folderNode("/Volumes/Data/gone");
    QVERIFY(expandAndWait(controller, gone.data()));
    QVERIFY(gone->children().isEmpty());
    QCOMPARE(screen.reloads.load(), 4);

    // Asked twice before the first answer, a folder gets its children once.
    FileNodeRef twice = folderNode("/Volumes/Data/docs");
    controller.getNodeListWithFaterNode(twice.data());
    QVERIFY(expandAndWait(controller, twice.data()));
    QCOMPARE(twice->children().count(), 3);
}

void TestEumeRoot::controllerTurnsEndScanIntoTheScreensCallback() {
    TestMachine mac;
    writeSized(mac, "/Volumes/Data/a", 1);
    makeFolder(mac, "/Volumes/Empty");
    writeSized(mac, "/Volumes/OnlySkipped/.DS_Store", 10);
    makeFolder(mac, "/Volumes/OnlySkipped/.Trashes");
    Controller controller;
    ScreenRecorder screen;
    controller.setADelegate(&screen);
    struct Case {
        const char* folder;
        bool copyAll, copyFiles;
        int copyScans, imageScans, listed;
    };
    int copyScans = 0, imageScans = 0;
    for (const Case& c :
         {Case{"/Volumes/Data", true, true, 1, 0, 1}, Case{"/Volumes/Data", true, false, 0, 1, 1},
          Case{"/Volumes/Data", false, false, 0, 0, 1},
          // "Copy all" goes on to the copy once the scan ends, even when it found nothing.
          Case{"/Volumes/Empty", true, true, 1, 0, 0}, Case{"/Volumes/OnlySkipped", true, true, 1, 0, 0}}) {
        FileNodeArrayRef array = makeFileNodeArray();
        controller.eumeAllRootFileNodeWithRootArr(array, c.folder, c.copyAll, c.copyFiles);
        QCOMPARE(controller.aRootArr(), array);
        copyScans += c.copyScans;
        imageScans += c.imageScans;
        QVERIFY2(waitUntil(
                     [&] {
                         return c.copyScans + c.imageScans > 0
                                    ? screen.copyScans == copyScans && screen.imageScans == imageScans
                                    : controller.getProgress() >= 100.0f;
                     },
                     10000),
                 c.folder);
        QTest::qWait(50);
        QCOMPARE(screen.copyScans.load(), copyScans);
        QCOMPARE(screen.imageScans.load(), imageScans);
        QCOMPARE(array->count(), c.listed);
    }
}

void TestEumeRoot::listsWhileTheListReadsAndAfterBeingReplaced() {
    // The file list draws the array while the listing fills it on the pool: every look must
    // find whole nodes in largest-first order and never fewer than before. A second listing
    // started through the same Controller replaces its EumeRoot; the first goes on filling its
    // own array to the end.
    TestMachine mac;
    QRandomGenerator random(17);
    for (int i = 0; i < 2000; ++i) {
        if (i % 25 == 0)
            makeFolder(mac, QStringLiteral("/Volumes/Big/d%1").arg(i));
        else
            writeSized(mac, QStringLiteral("/Volumes/Big/f%1").arg(i), random.bounded(40));
    }
    writeSized(mac, "/Volumes/Small/one", 1);

    Controller controller;
    FileNodeArrayRef big = makeFileNodeArray();
    FileNodeArrayRef small = makeFileNodeArray();
    controller.eumeAllRootFileNodeWithRootArr(big, "/Volumes/Big", false, false);
    const std::shared_ptr<EumeRoot> first = controller.eumeRoot();
    controller.eumeAllRootFileNodeWithRootArr(small, "/Volumes/Small", false, false);
    QVERIFY(controller.eumeRoot() != first);

    // Looks as fast as the main thread can, to meet the listing half way as often as it may.
    qsizetype lastCount = 0;
    int looks = 0;
    QString fault;
    QElapsedTimer waited;
    waited.start();
    while (fault.isEmpty() && first->getProgress() < 100.0f && waited.elapsed() < 30000) {
        const FileNodeList seen = big->toList();
        ++looks;
        if (seen.size() < lastCount)
            fault = QStringLiteral("the array shrank");
        lastCount = seen.size();
        for (qsizetype i = 0; i < seen.size() && fault.isEmpty(); ++i) {
            if (!seen[i] || seen[i]->name().isEmpty())
                fault = QStringLiteral("an incomplete node at %1").arg(i);
            else if (i > 0 && seen[i]->size() > seen[i - 1]->size())
                fault = QStringLiteral("out of order at %1").arg(i);
        }
        QCoreApplication::processEvents();
    }
    QVERIFY2(fault.isEmpty(), qPrintable(fault));
    QVERIFY(looks > 0);
    QCOMPARE(first->getProgress(), 100.0f);
    QCOMPARE(big->count(), 2000);
    QVERIFY(waitUntil([&] { return controller.getProgress() >= 100.0f; }, 10000));
    QCOMPARE(describe(small->toList()), QStringList{"one:1"});
}

void TestEumeRoot::callbacksComeOnTheMainThreadAndStopWithTheirController() {
    TestMachine mac;
    for (int i = 0; i < 3000; ++i)
        writeSized(mac, QStringLiteral("/Volumes/Big/f%1").arg(i), i % 50);
    for (int i = 0; i < 20; ++i)
        writeSized(mac, QStringLiteral("/Volumes/Big/sub%1/x").arg(i), 1);

    // A screen that answers the end of a scan by stopping the scan and leaving: the calls it
    // makes from inside the callback must neither deadlock nor find it off the main thread.
    struct StoppingScreen : ControllerDelegate {
        Controller* controller = nullptr;
        std::atomic<int> ends{0};
        std::atomic<bool> offMain{false};
        void copyFileScanFiles() override {
            offMain = offMain || !isMainThread();
            controller->stopScan();
            controller->eumeRoot()->setEumeDelegate(nullptr);
            ++ends;
        }
    };
    {
        Controller controller;
        StoppingScreen screen;
        screen.controller = &controller;
        controller.setADelegate(&screen);
        FileNodeArrayRef array = makeFileNodeArray();
        controller.eumeAllRootFileNodeWithRootArr(array, "/Volumes/Big", true, true);
        QVERIFY(waitUntil([&] { return screen.ends == 1; }, 20000));
        QVERIFY(!screen.offMain);
        QCOMPARE(array->count(), 3020);
        QVERIFY(controller.isScanDone());
    }

    // The screen and its Controller go away while a top-level and an on-demand listing run:
    // both stop, and nothing reaches the freed screen (the sanitizers watch for that).
    std::weak_ptr<EumeRoot> running;
    FileNodeRef sub = folderNode("/Volumes/Big/sub3");
    for (int round = 0; round < 5; ++round) {
        auto controller = std::make_unique<Controller>();
        auto screen = std::make_unique<ScreenRecorder>();
        controller->setADelegate(screen.get());
        controller->eumeAllRootFileNodeWithRootArr(makeFileNodeArray(), "/Volumes/Big", true, true);
        QTest::qWait(round); // from at once to a few milliseconds in
        controller->getNodeListWithFaterNode(sub.data());
        running = controller->eumeRoot();
        controller.reset();
        screen.reset();
        QVERIFY(running.lock()->isStopScan());
        QVERIFY(waitUntil([&] { return running.expired(); }, 10000));
    }
    QTest::qWait(100);
    QVERIFY(sub->children().isEmpty());
}
