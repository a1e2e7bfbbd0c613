// Bytes of memory per FileNode for a tree of 1,000,000 nodes, built the way the listings build
// it: a volume of 100 folders of 100 folders of 99 files, each node with its Mac path and
// name, attached to its father's children.

#include "BenchSupport.h"

#include "filecopy/FileNode.h"

#include <QCoreApplication>

#include <cstdio>
#include <malloc.h>

namespace {

size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runBenchmark(argc, argv, [](const BenchOptions& options) {
        const int perLevel = qMax(10, int(100 * (options.scale >= 1 ? 1.0 : options.scale)));
        const int filesPerFolder = perLevel - 1;

        const size_t before = heapInUse();
        FileNodeArrayRef top = makeFileNodeArray();
        qint64 nodes = 0;
        qint64 pathBytes = 0;
        const double seconds = timeIt([&] {
            for (int a = 0; a < perLevel; ++a) {
                const QString aName = QStringLiteral("Folder %1").arg(a, 3, 10, QLatin1Char('0'));
                FileNodeRef aNode = FileNode::initWithPath("/Volumes/Bench/" + aName, aName, true, nullptr);
                top->append(aNode);
                ++nodes;
                for (int b = 0; b < perLevel; ++b) {
                    const QString bName = QStringLiteral("Project %1").arg(b, 3, 10, QLatin1Char('0'));
                    const QString bPath = aNode->path() + '/' + bName;
                    FileNodeRef bNode = FileNode::initWithPath(bPath, bName, true, aNode.data());
                    aNode->children().append(bNode);
                    ++nodes;
                    for (int c = 0; c < filesPerFolder; ++c) {
                        const QString name =
                            QStringLiteral("document_%1.txt").arg(c, 5, 10, QLatin1Char('0'));
                        const QString path = bPath + '/' + name;
                        FileNodeRef file = FileNode::initWithPath(path, name, false, bNode.data());
                        file->setSize(quint64(c) * 100);
                        bNode->children().append(file);
                        pathBytes += path.toUtf8().size();
                        ++nodes;
                    }
                }
            }
        });
        const size_t after = heapInUse();
        const double perNode = double(after - before) / double(nodes);
        std::printf("built %lld nodes in %.2f s; average path %.1f bytes; sizeof(FileNode) %zu\n",
                    static_cast<long long>(nodes), seconds, double(pathBytes) / double(nodes),
                    sizeof(FileNode));
        std::printf(
            "%-34s %.1f bytes per node (heap in use, paths and children arrays included)  (target <= 250)\n",
            "memory per FileNode", perNode);
    });
}
