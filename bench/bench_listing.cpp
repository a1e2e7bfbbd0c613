// The top-level listing and one on-demand listing (EumeRoot) of a folder of 100,000 entries
// against ls -f on the same folder.

#include "BenchSupport.h"

#include "filecopy/EumeRoot.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runBenchmark(argc, argv, [](const BenchOptions& options) {
        BenchMachine mac;

        // Mostly files of assorted sizes, one entry in fifty a folder.
        const int entries = qMax(1000, int(100000 * options.scale));
        const QString folder = mac.host("/Volumes/Bench/flat");
        QDir().mkpath(folder);
        for (int i = 0; i < entries; ++i) {
            const QString path = folder + QStringLiteral("/entry%1").arg(i);
            if (i % 50 == 0) {
                QDir().mkdir(path);
                continue;
            }
            QFile f(path);
            if (f.open(QIODevice::WriteOnly))
                f.write(QByteArray((i * 7919) % 3001, 'y'));
        }
        syncDisks();

        double bestTop = 1e9, bestOnDemand = 1e9, bestLs = 1e9;
        qsizetype listed = 0, children = 0;
        for (int run = 0; run <= options.repeats; ++run) {
            std::shared_ptr<EumeRoot> root = EumeRoot::create();
            FileNodeArrayRef array = makeFileNodeArray();
            root->setRootNodeArr(array);
            const double top = timeIt([&] { root->eumeRootListNode("/Volumes/Bench/flat"); });
            listed = array->count();
            array.reset();

            FileNodeRef node = FileNode::initWithPath("/Volumes/Bench/flat", "flat", true, nullptr);
            const double onDemand = timeIt([&] { root->getNodeListWithFaterNode(node.data()); });
            children = node->children().count();
            node.reset();

            const double ls = timeCommand({"ls", "-f", folder});
            if (run > 0) { // the first round warms the cache
                bestTop = qMin(bestTop, top);
                bestOnDemand = qMin(bestOnDemand, onDemand);
                bestLs = qMin(bestLs, ls);
            }
        }
        std::printf("folder of %d entries: top level listed %lld nodes, on demand %lld children\n", entries,
                    static_cast<long long>(listed), static_cast<long long>(children));
        std::printf("%-34s engine %8.3f s   ls -f    %8.3f s   engine/ls %5.2fx  (target <= 1.5x)\n",
                    "top-level listing", bestTop, bestLs, bestTop / bestLs);
        std::printf("%-34s engine %8.3f s   ls -f    %8.3f s   engine/ls %5.2fx  (target <= 1.5x)\n",
                    "on-demand listing", bestOnDemand, bestLs, bestOnDemand / bestLs);
    });
}
