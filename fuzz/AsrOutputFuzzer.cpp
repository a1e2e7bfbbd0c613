// The restore tool's output, cut into chunks at each "\n%%\n" line, through the clone engine's
// reader: every report stays in its range, only a normal exit with status 0 can succeed, and the
// verdict is the same however the same output is cut.
#include "FuzzSupport.h"

#include "osclone/AsrOutputParser.h"

namespace {

// Byte by byte is the finest cut; longer inputs are cut that way only up to this size.
constexpr qsizetype kByteCutLimit = 4096;

void checkReports(const QList<AsrReport>& reports) {
    for (const AsrReport& r : reports) {
        switch (r.kind) {
        case AsrReport::Kind::Step:
            fuzzCheck(r.value >= 3 && r.value <= 5, "the tool's output names stages 3 to 5 only");
            break;
        case AsrReport::Kind::Tenth:
            fuzzCheck(r.value >= 1 && r.value <= 10, "a tenth is 1 to 10");
            fuzzCheck(r.pass == 1 || r.pass == 2, "a tenth belongs to pass 1 or 2");
            break;
        case AsrReport::Kind::Label:
        case AsrReport::Kind::AnswerPrompt:
            break;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    AsrOutputParser cut;
    QByteArray whole;
    for (const QByteArray& chunk : fuzzPieces(data, size)) {
        whole += chunk;
        checkReports(cut.feed(chunk));
    }
    fuzzCheck(!cut.succeeded(0, false) && !cut.succeeded(1, true),
              "only a normal exit with status 0 succeeds");

    AsrOutputParser once;
    checkReports(once.feed(whole));
    fuzzCheck(once.succeeded(0, true) == cut.succeeded(0, true), "the verdict does not depend on the cut");
    if (whole.size() <= kByteCutLimit) {
        AsrOutputParser bytes;
        for (qsizetype i = 0; i < whole.size(); ++i)
            checkReports(bytes.feed(whole.mid(i, 1)));
        fuzzCheck(bytes.succeeded(0, true) == cut.succeeded(0, true),
                  "the verdict does not depend on the cut");
    }
    return 0;
}
