#include "Fixtures.h"
#include "TestMachine.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "Wait.h"
#include "core/MainThread.h"
#include "core/PropertyList.h"
#include "core/Resources.h"
#include "filecopy/Controller.h"
#include "filecopy/EumeRoot.h"
#include "filecopy/GetFilesSize.h"
#include "filecopy/NodeTreeOperator.h"
#include "filecopy/SystemFolder.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>

#include <sys/stat.h>

namespace {

// Stands in for a screen: counts the Controller's callbacks.
struct Recorder : ControllerDelegate {
    std::atomic<int> reloads{0};
    std::atomic<int> buttonStates{0};
    std::atomic<int> copyScans{0};
    std::atomic<int> imageScans{0};
    void reloadTreeList() override { ++reloads; }
    void changeSelectAllButtonState() override { ++buttonStates; }
    void copyFileScanFiles() override { ++copyScans; }
    void endScanFiles() override { ++imageScans; }
};

// Asks the Controller for a node's children and waits until the listing has come back.
bool expandAndWait(Controller& controller, FileNode* node) {
    controller.getNodeListWithFaterNode(node);
    return waitUntil([&] { return controller.pendingNodeListings() == 0; }, 10000);
}

// Each report arrives on the main thread (offMain tells when one did not).
struct SizeRecorder : GetFilesSizeDelegate {
    QList<qint64> reports;
    std::atomic<bool> offMain{false};
    void allCopyFilesSize(qint64 size) override {
        offMain = offMain || !isMainThread();
        reports << size;
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

// The file tree: its nodes, the ticks a click spreads, the sizes of what is selected, and the
// listings that fill it.
class TestTreeOperations : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void systemFilesMatchTheResourceListsWholePaths() {
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
        const QList<QPair<QString, bool>> paths = {
            {"/System", true},  {"/private/var", true},     {"/Library", true}, {"/System/", false},
            {"/system", false}, {"/System/Library", false}, {"/Beyond", false}, {"/Users", false}};
        for (const auto& [path, system] : paths)
            QVERIFY2(SystemFolder::isSystemFileWithFilePath(path) == system, qPrintable(path));
        // The list is read on every call.
        QVERIFY(PropertyList::writeDictionary(list, {{"0", "/Users"}}));
        QVERIFY(SystemFolder::isSystemFileWithFilePath("/Users"));
        setResourceDirectory(QString());
    }

    void insertsBySizeAsSingleInsertsWould() {
        QRandomGenerator random(7);
        for (int round = 0; round < 20; ++round) {
            FileNodeArray single, merged;
            FileNodeList reference;
            for (int step = 0, serial = 0; step < 30; ++step) {
                FileNodeList group;
                for (int k = random.bounded(1, 12); k > 0; --k, ++serial) {
                    // Few distinct sizes, many ties, zeros and folders appended in between.
                    if (random.bounded(5) == 0) {
                        const FileNodeRef folder = folderNode(QStringLiteral("/d%1").arg(serial));
                        single.append(folder);
                        merged.append(folder);
                        reference.append(folder);
                        continue;
                    }
                    const FileNodeRef n = fileNode(QStringLiteral("/f%1").arg(serial), random.bounded(4));
                    single.insertBySize(n);
                    group.append(n);
                    // Reference: the rule as stated, before the first element not larger.
                    reference.insert(
                        std::find_if(reference.begin(), reference.end(),
                                     [&](const FileNodeRef& r) { return r->size() <= n->size(); }),
                        n);
                }
                merged.insertAllBySize(group);
            }
            QCOMPARE(describe(single.toList()), describe(reference));
            // folders were appended before the group's files were merged, as a listing does it
            QCOMPARE(describe(merged.toList()), describe(reference));
        }
        FileNodeArray array;
        array.append(fileNode("/x", 1));
        QVERIFY(!array.at(1) && !array.at(-1));
        QCOMPARE(array.at(0)->name(), QStringLiteral("x"));
    }

    void pathsStayAsBuiltWhateverBecomesOfTheFolders() {
        // The list shows the last component of the path, whatever name the node was given.
        QCOMPARE(
            FileNode::initWithPath("/Volumes/Data/a.txt", "something else", false, nullptr)->displayName(),
            QStringLiteral("a.txt"));
        // A node keeps the path it was built with: moved to another father, or its folder gone while
        // the node is held. Built and unicode paths alike.
        const QString photos = QString::fromUtf8("/Volumes/Caf\xc3\xa9/Fotos 2024");
        const QString photo = photos + QString::fromUtf8("/\xe6\x97\xa5\xe6\x9c\xac.txt");
        FileNodeRef held, listed, elsewhere = folderNode("/Volumes/Other");
        {
            FileNodeRef folder = folderNode(photos);
            held = fileNode(photo, 5, 1, folder.data());
            listed = FileNode::fromListing(folder.data(), "/b.txt", 5, false, folder.data());
            QCOMPARE(listed->name(), QStringLiteral("b.txt"));
            // A path that does not begin with its father's stands as given.
            QCOMPARE(FileNode::initWithPath("/x/y", "y", false, folder.data())->path(),
                     QStringLiteral("/x/y"));
            listed->setFather(elsewhere.data());
            QCOMPARE(held->father(), folder.data());
        }
        // The folder is gone; the node held keeps its path and forgets its father.
        QCOMPARE(held->path(), photo);
        QCOMPARE(held->displayName(), QString::fromUtf8("\xe6\x97\xa5\xe6\x9c\xac.txt"));
        QCOMPARE(held->father(), nullptr);
        QCOMPARE(listed->path(), photos + QStringLiteral("/b.txt"));
        QCOMPARE(listed->father(), elsewhere.data());
    }

    void ticksSpreadUpAndIntoOpenFolders() {
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
        // Unticking a folder unticks its children; a top-level node only refreshes the screen.
        click(mid, false);
        QCOMPARE(states({a, mid, top}), (QList<qint64>{0, 0, 2}));
        const int reloads = recorder.reloads.load();
        controller.changeFatherNodeSelectStateWithFileNode(top.data(), false);
        QCOMPARE(recorder.reloads.load(), reloads + 1);
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
    }

    void sizesOfWalksAndSelections() {
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
        // One entry's own size, as a listing shows it: a link is itself.
        QCOMPARE(NodeTreeOperator::getOneFileSizeWithPath("/Volumes/Data/tree/dangling"), quint64(15));

        const auto sized = [&](const QString& path, qsizetype length, qint64 state,
                               const FileNodeRef& father) {
            return writtenNode(mac, path, QByteArray(length, 'z'), state, father.data());
        };
        // A half-selected folder, a file and a whole folder: the exact total, in one report,
        // whatever the timing.
        FileNodeRef top = folderNode("/Volumes/Data/top", 2);
        sized("/Volumes/Data/top/in", 7, 1, top);
        sized("/Volumes/Data/top/out", 9, 0, top);
        const FileNodeList nodes = {top, sized("/Volumes/Data/alone", 100, 1, FileNodeRef()),
                                    folderNode("/Volumes/Data/tree")};
        for (int round = 0; round < 3; ++round) {
            SizeRecorder recorder;
            std::shared_ptr<GetFilesSize> sizer = GetFilesSize::create();
            sizer->setDelegate(&recorder);
            sizer->getSelectionSizeWithArr(nodes);
            QVERIFY(waitUntil([&] { return !recorder.reports.isEmpty(); }, 20000));
            QTest::qWait(50);
            QCOMPARE(recorder.reports, QList<qint64>{qint64(7 + 100 + expected)});
            QVERIFY(!recorder.offMain);
        }
    }

    void listingsAtTheTopAndOnDemand() {
        // Top level: files first, largest first, then folders (a link to one too) in the disk's
        // order, none of them measured; the skip list holds at the top only.
        TestMachine mac;
        for (const char* skipped : {".Trashes", ".fseventsd", ".Spotlight-V100"})
            makeFolder(mac, QStringLiteral("/Volumes/Data/") + skipped);
        writeSized(mac, "/Volumes/Data/.DS_Store", 10);
        writeSized(mac, "/Volumes/Data/.Trash", 1);
        writeSized(mac, "/Volumes/Data/.ds_store", 2); // other case: kept
        writeSized(mac, "/Volumes/Data/.profile", 3);  // other hidden names: kept
        writeSized(mac, "/Volumes/Data/docs/.DS_Store", 6);
        writeSized(mac, "/Volumes/Data/docs/.Trashes/x", 1);
        writeSized(mac, "/Volumes/Data/docs/a", 3);
        writeSized(mac, "/Volumes/Data/docs/b", 4);
        writeSized(mac, "/Volumes/Data/docs/sub/deep", 9);
        writeSized(mac, "/Volumes/Data/five", 5);
        makeFolder(mac, "/Volumes/Data/B");
        writeSized(mac, "/Volumes/Data/five hundred", 500);
        writeSized(mac, "/Volumes/Data/fifty", 50);
        QVERIFY(makeLink("docs", mac.host("/Volumes/Data/linked")));
        Controller controller;
        Recorder screen;
        controller.setADelegate(&screen);
        FileNodeArrayRef topArray = makeFileNodeArray();
        controller.eumeAllRootFileNodeWithRootArr(topArray, "/Volumes/Data", false, false);
        QVERIFY(waitUntil([&] { return controller.getProgress() >= 100.0f; }, 20000));
        const FileNodeList top = topArray->toList();
        QStringList folders =
            listingOrder(mac.host("/Volumes/Data")).filter(QRegularExpression("^(docs|B|linked)$"));
        QCOMPARE(describe(top),
                 QStringList({"five hundred:500", "fifty:50", "five:5", ".profile:3", ".ds_store:2"}) +
                     folders.replaceInStrings(QRegularExpression("$"), ":0"));
        for (const FileNodeRef& n : top) {
            QCOMPARE(n->father(), nullptr);
            QCOMPARE(n->state(), qint64(1));
            QCOMPARE(n->path(), "/Volumes/Data/" + n->name());
            QCOMPARE(n->isDirectory(), n->size() == 0);
        }

        // On demand every entry is kept, in the disk's order, and the children take the state the
        // father has when they arrive, not when asked for.
        screen.reloads = 0;
        const QMap<QString, quint64> sizes = {{"a", 3}, {"b", 4}, {".DS_Store", 6}};
        for (const qint64 state : {0, 1, 2}) {
            FileNodeRef docs = folderNode("/Volumes/Data/docs", 1 - state % 2);
            controller.getNodeListWithFaterNode(docs.data());
            docs->setState(state);
            QVERIFY(waitUntil([&] { return controller.pendingNodeListings() == 0; }, 10000));
            QStringList order;
            for (const FileNodeRef& c : docs->children().toList()) {
                order << c->name();
                QCOMPARE(c->state(), state == 0 ? qint64(0) : qint64(1));
                QCOMPARE(c->father(), docs.data());
                QCOMPARE(c->path(), "/Volumes/Data/docs/" + c->name());
                QCOMPARE(c->size(), sizes.value(c->name()));
                QCOMPARE(c->isDirectory(), c->name() == "sub" || c->name() == ".Trashes");
            }
            QCOMPARE(order.size(), 5);
            QCOMPARE(order, listingOrder(mac.host("/Volumes/Data/docs")));
        }
        QCOMPARE(screen.reloads.load(), 3); // endEumeNode redraws the list

        // A file node lists itself as its one child; a missing path lists nothing and says nothing.
        FileNodeRef five = fileNode("/Volumes/Data/five", 5);
        QVERIFY(expandAndWait(controller, five.data()));
        QCOMPARE(describe(five->children().toList()), QStringList{"five:5"});
        FileNodeRef gone = folderNode("/Volumes/Data/gone");
        QVERIFY(expandAndWait(controller, gone.data()));
        QVERIFY(gone->children().isEmpty());
        QCOMPARE(screen.reloads.load(), 4);
        // Asked twice before the first answer, a folder gets its children once.
        FileNodeRef twice = folderNode("/Volumes/Data/docs");
        controller.getNodeListWithFaterNode(twice.data());
        QVERIFY(expandAndWait(controller, twice.data()));
        QCOMPARE(twice->children().count(), 5);

        // The Controller hands the end of a scan to the screen: "Copy all" goes on to the copy once
        // the scan ends, even when it found nothing; otherwise an image's scan, or nothing.
        makeFolder(mac, "/Volumes/Empty");
        writeSized(mac, "/Volumes/OnlySkipped/.DS_Store", 10);
        makeFolder(mac, "/Volumes/OnlySkipped/.Trashes");
        struct Case {
            const char* folder;
            bool copyAll, copyFiles;
            int copyScans, imageScans, listed;
        };
        for (const Case& c : {Case{"/Volumes/Data/docs/sub", true, true, 1, 0, 1},
                              Case{"/Volumes/Data/docs/sub", true, false, 0, 1, 1},
                              Case{"/Volumes/Data/docs/sub", false, false, 0, 0, 1},
                              Case{"/Volumes/Empty", true, true, 1, 0, 0},
                              Case{"/Volumes/OnlySkipped", true, true, 1, 0, 0}}) {
            screen.copyScans = screen.imageScans = 0;
            FileNodeArrayRef listed = makeFileNodeArray();
            controller.eumeAllRootFileNodeWithRootArr(listed, c.folder, c.copyAll, c.copyFiles);
            QCOMPARE(controller.aRootArr(), listed);
            // Waits for a callback, or for the listing's end where none comes.
            QVERIFY2(waitUntil(
                         [&] {
                             return screen.copyScans + screen.imageScans > 0 ||
                                    controller.getProgress() >= 100.0f;
                         },
                         10000),
                     c.folder);
            QTest::qWait(50);
            QCOMPARE((QList<int>{screen.copyScans, screen.imageScans, int(listed->count())}),
                     (QList<int>{c.copyScans, c.imageScans, c.listed}));
        }
    }

    void listsWhileTheListReadsAndStopsWithItsController() {
        // The file list draws the array while the listing fills it on the pool: every look must
        // find whole nodes in largest-first order and never fewer than before. A second listing
        // started through the same Controller replaces its EumeRoot; the first goes on filling its
        // own array to the end.
        TestMachine mac;
        QRandomGenerator random(17);
        for (int i = 0; i < 3000; ++i) {
            if (i % 25 == 0)
                writeSized(mac, QStringLiteral("/Volumes/Big/d%1/x").arg(i), 1);
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
        QCOMPARE(big->count(), 3000);
        QVERIFY(waitUntil([&] { return controller.getProgress() >= 100.0f; }, 10000));
        QCOMPARE(describe(small->toList()), QStringList{"one:1"});

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
            QCOMPARE(array->count(), 3000);
            QVERIFY(controller.isScanDone());
        }
    }
};

TAVRILL_TEST(TestTreeOperations)

#include "tst_treeoperations.moc"
