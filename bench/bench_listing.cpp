// The top-level listing and one on-demand listing (EumeRoot) of a folder of 100,000 entries
// against ls -f on the same folder.
//
// ls -f reads the names and nothing else, while both listings need the data length of every
// file (the top level is ordered by it, the children carry it), and on Linux that is one
// fstatat per entry. So two references are printed beside the target: the least work that
// gives those lengths (readdir with one fstatat per non-folder entry, in this process), and
// find printing each entry's size, a standard tool doing the same job.

#include "BenchSupport.h"

#include "filecopy/EumeRoot.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

// readdir plus fstatat without following links for each entry that is not a folder; answers
// the sum of the lengths so the work cannot be left out.
quint64 readdirAndStat(const QString& host) {
    DIR* dir = ::opendir(QFile::encodeName(host).constData());
    if (!dir)
        benchFail(QStringLiteral("cannot list %1").arg(host));
    quint64 sum = 0;
    const int fd = ::dirfd(dir);
    while (const dirent* d = ::readdir(dir)) {
        struct stat st;
        if (d->d_type != DT_DIR && ::fstatat(fd, d->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0)
            sum += quint64(st.st_size);
    }
    ::closedir(dir);
    return sum;
}

void printAgainst(const char* label, double engine, double baseline, const char* baselineName,
                  const char* target) {
    std::printf("%-34s engine %8.3f s   %-9s %8.3f s   engine/%s %5.2fx%s%s%s\n", label, engine, baselineName,
                baseline, baselineName, engine / baseline, *target ? "  (target " : "", target,
                *target ? ")" : "");
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runBenchmark(argc, argv, [](const BenchOptions& options) {
        BenchMachine mac;

        // Mostly files of assorted sizes, one entry in fifty a folder.
        const int entries = qMax(1000, int(100000 * options.scale));
        const QString folder = mac.host("/Volumes/Bench/flat");
        writeFlatFolder(folder, entries);

        double bestTop = 1e9, bestOnDemand = 1e9, bestLs = 1e9, bestFloor = 1e9, bestFind = 1e9;
        qsizetype listed = 0, children = 0;
        quint64 floorSum = 0;
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
            const double floor = timeIt([&] { floorSum = readdirAndStat(folder); });
            const double find =
                timeCommand({"find", folder, "-mindepth", "1", "-maxdepth", "1", "-printf", "%s\\n"});
            if (run > 0) { // the first round warms the cache
                bestTop = qMin(bestTop, top);
                bestOnDemand = qMin(bestOnDemand, onDemand);
                bestLs = qMin(bestLs, ls);
                bestFloor = qMin(bestFloor, floor);
                bestFind = qMin(bestFind, find);
            }
        }
        if (listed != entries || children != entries || floorSum == 0)
            benchFail(
                QStringLiteral("listed %1 and %2 of %3 entries").arg(listed).arg(children).arg(entries));
        std::printf("folder of %d entries: top level listed %lld nodes, on demand %lld children\n", entries,
                    static_cast<long long>(listed), static_cast<long long>(children));
        printAgainst("top-level listing", bestTop, bestLs, "ls -f", "<= 1.5x");
        printAgainst("on-demand listing", bestOnDemand, bestLs, "ls -f", "<= 1.5x");
        std::printf(
            "references: readdir+fstatat %.3f s (%.2fx ls -f), find -printf %%s %.3f s (%.2fx ls -f)\n",
            bestFloor, bestFloor / bestLs, bestFind, bestFind / bestLs);
        printAgainst("top-level listing", bestTop, bestFloor, "stat", "");
        printAgainst("on-demand listing", bestOnDemand, bestFloor, "stat", "");
    });
}
