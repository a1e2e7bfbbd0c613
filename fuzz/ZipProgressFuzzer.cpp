// The reader of zip's output, fed any bytes in any pieces: however the pipe splits the output,
// the entries and the missing items it counts are the same as for the output in one piece, each
// entry is counted once, and no line it keeps grows past its limit.
#include "FuzzSupport.h"

#include "diskimage/ZipProgressReader.h"

#include <QByteArrayView>

namespace {

struct Reading {
    std::uint64_t reported = 0; // what feed and finish answered, added up
    ZipProgressReader reader;
};

// Feeds the output in pieces whose lengths come from a little generator seeded by the input,
// so that each input is also cut in its own way (pieces of 0 to 63 bytes, empty ones too).
void readInPieces(QByteArrayView output, Reading& r) {
    std::uint32_t state = 2166136261u;
    for (char c : output.first(qMin<qsizetype>(output.size(), 16)))
        state = (state ^ std::uint8_t(c)) * 16777619u;
    while (!output.isEmpty()) {
        state = state * 1103515245u + 12345u;
        const qsizetype length = qMin<qsizetype>(output.size(), (state >> 16) % 64);
        r.reported += r.reader.feed(output.first(length));
        output = output.sliced(length);
    }
    r.reported += r.reader.finish();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArrayView output(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    Reading whole;
    whole.reported = whole.reader.feed(output);
    whole.reported += whole.reader.finish();
    Reading pieces;
    readInPieces(output, pieces);

    fuzzCheck(whole.reported == whole.reader.addedCount(), "every entry is reported once");
    fuzzCheck(pieces.reported == pieces.reader.addedCount(), "every entry is reported once, in pieces");
    fuzzCheck(pieces.reader.addedCount() == whole.reader.addedCount(), "the pieces count the same entries");
    fuzzCheck(pieces.reader.missingCount() == whole.reader.missingCount(),
              "the pieces count the same misses");
    fuzzCheck(pieces.reader.lastEntry() == whole.reader.lastEntry(), "the pieces end on the same entry");
    const std::uint64_t lines = std::uint64_t(output.count('\n')) + 1;
    fuzzCheck(whole.reader.addedCount() + whole.reader.missingCount() <= lines, "one count per line at most");
    fuzzCheck(whole.reader.lastEntry().size() <= ZipProgressReader::kLineHead,
              "a kept line stays within its limit");
    return 0;
}
