#include "osclone/AsrOutputParser.h"

#include <array>

namespace {

// A line of the restore tool's output, as far as the verdict is concerned.
namespace LineKind {
enum { Other, CompletePass, Closing };
}

constexpr std::array<const char*, 3> kPhases = {"Replicating", "Restoring", "Verifying"};
constexpr char kFullProgress[] = "....10....20....30....40....50....60....70....80....90....100";
int lineKind(const QByteArray& line) {
    const QByteArray t = line.trimmed();
    if (t == AsrOutputParser::kClosingLine)
        return LineKind::Closing;
    for (const char* phase : kPhases) {
        if (t.startsWith(phase) && t.mid(qsizetype(qstrlen(phase))).trimmed() == kFullProgress)
            return LineKind::CompletePass;
    }
    return LineKind::Other;
}

// Tenths of a copy pass by the marks a chunk holds; the first match wins, so "10" is tested
// before "20" and "100" last.
int tenthOf(const QString& s) {
    if (s.contains(QLatin1String("10")) && !s.contains(QLatin1String("100")))
        return 1;
    for (int tag = 2; tag <= 10; ++tag) {
        if (s.contains(QString::number(tag * 10)))
            return tag;
    }
    return 0;
}

} // namespace

QList<AsrReport> AsrOutputParser::feed(const QByteArray& chunk) {
    QList<AsrReport> out;
    QByteArray rest = chunk;
    while (!rest.isEmpty()) {
        // The prompt may be split across chunks: search it with the end of the previous chunk.
        const QByteArray scan = m_scan + rest;
        m_scan = scan.right(qsizetype(sizeof kPrompt) - 2);
        const qsizetype at = scan.indexOf(kPrompt);
        if (at < 0) {
            takeLines(rest);
            handleChunk(rest, out);
            break;
        }
        // What comes before the prompt's line is ordinary output; the rest of that line is the
        // question, which is answered and not read further. A tool waits for the answer, so
        // lines after it in the same chunk were written after the answer: they are read as a
        // chunk of their own.
        const qsizetype lineStart = scan.lastIndexOf('\n', at) + 1;
        const qsizetype restStart = scan.size() - rest.size();
        if (lineStart > restStart) {
            const QByteArray head = rest.left(lineStart - restStart);
            takeLines(head);
            handleChunk(head, out);
        }
        resetAtPrompt();
        out.append({AsrReport::Kind::AnswerPrompt, 0, 0, QString()});
        rest = rest.mid(at + qsizetype(sizeof kPrompt) - 1 - restStart);
        const qsizetype lineEnd = rest.indexOf('\n');
        m_inPromptLine = lineEnd < 0;
        rest = lineEnd < 0 ? QByteArray() : rest.mid(lineEnd + 1);
        m_scan.clear();
    }
    return out;
}

void AsrOutputParser::handleChunk(const QByteArray& chunk, QList<AsrReport>& out) {
    QString s = QString::fromUtf8(chunk);
    const QString target = QStringLiteral("Validating target...");
    const QString source = QStringLiteral("Validating source...");
    const QString repartitioning = QStringLiteral("Repartitioning target device...");
    // Each test looks at the text the previous one may have shortened, so a chunk naming both
    // validations reports the target's only.
    if (s.contains(target)) {
        out.append({AsrReport::Kind::Step, 3, 0, QString()});
        s = target;
    }
    if (s.contains(source)) {
        out.append({AsrReport::Kind::Step, 4, 0, QString()});
        s = source;
    }
    if (s.contains(repartitioning))
        s = repartitioning;

    bool namesPhase = false;
    for (const char* phase : kPhases)
        namesPhase = namesPhase || s.contains(QLatin1String(phase));
    if (namesPhase) {
        out.append({AsrReport::Kind::Label, 0, 0, QString::fromLatin1(kCloningLabel)});
        if (m_isTwoTime++ == 0)
            out.append({AsrReport::Kind::Step, 5, 0, QString()});
        m_inProgress = true;
    }

    if (m_isTwoTime == 1 || m_isTwoTime == 2) {
        if (const int tag = tenthOf(s))
            out.append({AsrReport::Kind::Tenth, tag, m_isTwoTime, QString()});
    }

    if (s == QLatin1String("100") && ++m_isTwoTime100 >= 2)
        m_inProgress = false;

    if (!m_inProgress)
        out.append({AsrReport::Kind::Label, 0, 0, s});
}

void AsrOutputParser::takeLines(const QByteArray& bytes) {
    qsizetype from = 0;
    // The rest of the prompt's line is the question, not output.
    if (m_inPromptLine) {
        const qsizetype nl = bytes.indexOf('\n');
        if (nl < 0)
            return;
        m_inPromptLine = false;
        from = nl + 1;
    }
    for (qsizetype nl = bytes.indexOf('\n', from); nl >= 0; nl = bytes.indexOf('\n', from)) {
        m_line += bytes.mid(from, nl - from);
        switch (currentLineKind()) {
        case LineKind::CompletePass:
            ++m_completePasses;
            break;
        case LineKind::Closing:
            m_closingLine = true;
            break;
        case LineKind::Other:
            break;
        }
        m_line.clear();
        m_lineTooLong = false;
        from = nl + 1;
    }
    m_line += bytes.mid(from);
    // Only the length of a line that long matters: it is neither of the lines looked for.
    if (m_line.size() > kLongestLine) {
        m_line.clear();
        m_lineTooLong = true;
    }
}

int AsrOutputParser::currentLineKind() const {
    return m_lineTooLong || m_line.size() > kLongestLine ? LineKind::Other : lineKind(m_line);
}

void AsrOutputParser::resetAtPrompt() {
    m_isTwoTime = 0;
    m_isTwoTime100 = 0;
    m_inProgress = false;
    m_completePasses = 0;
    m_closingLine = false;
    m_line.clear();
    m_lineTooLong = false;
}

bool AsrOutputParser::succeeded(int exitCode, bool normalExit) const {
    if (!normalExit || exitCode != 0)
        return false;
    // The last line may have come without its line end.
    const int last = currentLineKind();
    const int passes = m_completePasses + (last == LineKind::CompletePass ? 1 : 0);
    return m_closingLine || last == LineKind::Closing || passes >= 2;
}
