// The command-line formatter with any names: whatever the arguments hold, /bin/sh must hand the
// tool exactly the words of the format with the arguments in place, or the line must be refused
// as too long for its buffer. The line is read back with the shell's own quoting rules.
#include "FuzzSupport.h"

#include "core/CommandLine.h"

#include <QString>

#include <optional>

namespace {

struct Format {
    std::size_t buffer;
    const char* text;
    int arguments;
};

// The shapes of line the engines build.
const Format kFormats[] = {
    {64, "diskutil eject %s", 1},
    {64, "diskutil info -plist /dev/%s", 1},
    {128, "diskutil info -plist %s", 1},
    {128, "diskutil rename %s \"%s\"", 2},
    {128, "diskutil eraseVolume \"%s\" \"%s\" \"%s\"", 3},
    {128, "diskutil eraseVolume \"MS-DOS FAT32\" NEW \"%s\"", 1},
    {2048, "tool %s \"%s\" %s", 3},
};

// Splits a line into the words /bin/sh gives the tool, for the quoting the formatter uses
// (double quotes, backslashes, bare words). Nothing when the shell would expand, redirect or
// otherwise read the line as more than plain words.
std::optional<QList<QByteArray>> shellWords(const QByteArray& line) {
    QList<QByteArray> words;
    QByteArray word;
    bool inWord = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == ' ' || c == '\t' || c == '\n') {
            if (inWord)
                words.append(word);
            word.clear();
            inWord = false;
        } else if (c == '"') {
            inWord = true;
            for (++i;; ++i) {
                if (i >= line.size())
                    return std::nullopt; // unterminated
                const char q = line[i];
                if (q == '"')
                    break;
                if (q == '$' || q == '`')
                    return std::nullopt; // expansion
                if (q == '\\' && i + 1 < line.size() &&
                    (line[i + 1] == '$' || line[i + 1] == '`' || line[i + 1] == '"' || line[i + 1] == '\\')) {
                    word.append(line[++i]);
                } else if (q == '\\' && i + 1 < line.size() && line[i + 1] == '\n') {
                    ++i; // a line continuation disappears
                } else {
                    word.append(q);
                }
            }
        } else {
            const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                               c == '/' || c == '.' || c == '_' || c == '-' || c == ':' || c == '\x01';
            if (!plain)
                return std::nullopt; // anything else means something to the shell outside quotes
            word.append(c);
            inWord = true;
        }
    }
    if (inWord)
        words.append(word);
    return words;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const Format& format = kFormats[data[0] % (sizeof kFormats / sizeof kFormats[0])];
    // The names, as the screens and the tool's answers hold them: text, cut at NUL bytes.
    QList<QByteArray> raw =
        QByteArray(reinterpret_cast<const char*>(data) + 1, static_cast<qsizetype>(size - 1)).split('\0');
    while (raw.size() < format.arguments)
        raw.append(QByteArray());
    QStringList names;
    for (int i = 0; i < format.arguments; ++i)
        names << QString::fromUtf8(raw[i]);

    QByteArray line;
    switch (format.arguments) {
    case 1:
        line = QvFormatCommand(format.buffer, format.text, {names[0]});
        break;
    case 2:
        line = QvFormatCommand(format.buffer, format.text, {names[0], names[1]});
        break;
    default:
        line = QvFormatCommand(format.buffer, format.text, {names[0], names[1], names[2]});
        break;
    }
    if (line.isNull())
        return 0; // too long: refused, nothing runs
    fuzzCheck(static_cast<std::size_t>(line.size()) < format.buffer, "the line fits its buffer");

    // The format's own words with a marker for each argument, then the arguments in place.
    QByteArray marked(format.text);
    for (int i = 0; i < format.arguments; ++i)
        marked.replace(marked.indexOf("%s"), 2, QByteArray("\x01") + char('0' + i) + '\x01');
    const std::optional<QList<QByteArray>> expectedMarked = shellWords(marked);
    fuzzCheck(expectedMarked.has_value(), "the format itself is plain words");
    QList<QByteArray> expected;
    for (const QByteArray& w : *expectedMarked) {
        QByteArray filled;
        for (qsizetype i = 0; i < w.size(); ++i) {
            if (w[i] == '\x01') {
                filled += names[w[i + 1] - '0'].toUtf8();
                i += 2;
            } else {
                filled += w[i];
            }
        }
        expected.append(filled);
    }
    const std::optional<QList<QByteArray>> words = shellWords(line);
    fuzzCheck(words.has_value(), "the shell reads the line as plain words");
    fuzzCheck(*words == expected, "every argument reaches the tool as it was given");
    return 0;
}
