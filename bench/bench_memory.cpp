// Bytes of memory per FileNode for a tree of 3,000,000 nodes, built the way the listings build
// it: a volume of 300 folders of 100 folders of 99 files, each node listed under its father and
// the children handed to the father in one step. What the tree costs is read from the
// allocator's own statistics before and after: the nodes, their texts, the children arrays and
// their slots, and the allocator's overhead for each block.

#include "BenchSupport.h"

#include "filecopy/FileNode.h"

#include <QCoreApplication>

#include <cstdio>
#include <malloc.h>
#include <string>

namespace {

// Bytes in blocks handed out, and bytes taken from the system.
struct Heap {
    size_t inUse;
    size_t fromSystem;
};

Heap heap() {
    const struct mallinfo2 info = mallinfo2();
    return {info.uordblks + info.hblkhd, info.arena + info.hblkhd};
}

// The node of name listed in father's folder.
FileNodeRef listed(FileNode* father, const std::string& name, bool isDirectory) {
    const std::string suffix = '/' + name;
    return FileNode::fromListing(father, suffix, std::uint32_t(name.size()), isDirectory, father);
}

std::string numbered(const char* stem, int n, int width, const char* extension = "") {
    std::string digits = std::to_string(n);
    return stem + std::string(size_t(qMax(0, width - int(digits.size()))), '0') + digits + extension;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runBenchmark(argc, argv, [](const BenchOptions& options) {
        const int tops = qMax(1, int(300 * options.scale));
        const int perFolder = 100;
        const int filesPerFolder = 99;

        const Heap before = heap();
        FileNodeArrayRef top = makeFileNodeArray();
        qint64 nodes = 0;
        qint64 pathBytes = 0;
        qint64 nameBytes = 0;
        const double seconds = timeIt([&] {
            FileNodeRef volume = FileNode::initWithPath("/Volumes/Bench", "Bench", true, nullptr);
            FileNodeList topNodes;
            for (int a = 0; a < tops; ++a) {
                FileNodeRef aNode = listed(volume.data(), numbered("Folder ", a, 3), true);
                aNode->setFather(nullptr); // a top-level node
                FileNodeList projects;
                for (int b = 0; b < perFolder; ++b) {
                    const std::string bName = numbered("Project ", b, 3);
                    FileNodeRef bNode = listed(aNode.data(), bName, true);
                    FileNodeList files;
                    files.reserve(filesPerFolder);
                    for (int c = 0; c < filesPerFolder; ++c) {
                        const std::string name = numbered("document_", c, 5, ".txt");
                        FileNodeRef file = listed(bNode.data(), name, false);
                        file->setSize(quint64(c) * 100);
                        files.append(file);
                        nameBytes += qint64(name.size());
                    }
                    bNode->setChildren(files);
                    projects.append(bNode);
                    nameBytes += qint64(bName.size());
                }
                aNode->setChildren(projects);
                topNodes.append(aNode);
                nodes += 1 + perFolder * (1 + filesPerFolder);
            }
            top->setList(topNodes);
        });
        const Heap after = heap();
        // One path in every 1,000, to state the average length of what is no longer stored.
        qint64 sampled = 0;
        for (qsizetype a = 0; a < top->count(); ++a) {
            const FileNodeRef project = top->at(a)->children().at(a % perFolder);
            for (qsizetype c = 0; c < project->children().count(); c += 10) {
                pathBytes += project->children().at(c)->pathUtf8().size();
                ++sampled;
            }
        }
        std::printf("built %lld nodes in %.2f s; average name %.1f bytes, average file path %.1f bytes; "
                    "sizeof(FileNode) %zu\n",
                    static_cast<long long>(nodes), seconds, double(nameBytes) / double(nodes - tops),
                    double(pathBytes) / double(qMax<qint64>(1, sampled)), sizeof(FileNode));
        std::printf(
            "%-34s %.1f bytes per node in blocks in use, %.1f taken from the system  (target <= 120)\n",
            "memory per FileNode", double(after.inUse - before.inUse) / double(nodes),
            double(after.fromSystem - before.fromSystem) / double(nodes));
    });
}
