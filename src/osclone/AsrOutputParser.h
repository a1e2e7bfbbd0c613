#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// One thing a piece of the restore tool's output tells the clone.
struct AsrReport {
    enum class Kind {
        Step,        // `value`: a stage of the clone (3 validating the target, 4 the source, 5 copying)
        Label,       // `text`: the status line
        Tenth,       // `value`: tenths 1..10 of a copy pass; `pass`: 1 system files, 2 user files
        AnswerPrompt // the tool asks whether to erase the target: answer "y"
    };
    Kind kind = Kind::Label;
    int value = 0;
    int pass = 0;
    QString text;

    bool operator==(const AsrReport& other) const = default;
};

// Turns the output of "asr restore" into stages, pass tenths and status texts, one chunk at a
// time, and keeps what the end verdict needs. Bytes in, reports out: it runs no tool.
//
// The reports follow the chunks as they arrive, so their detail depends on how the tool's
// output was cut: a tool writing piece by piece yields a tenth for every mark of its progress
// dots, one that holds everything back yields a few coarse reports. The verdict does not depend
// on the cut: it reads whole lines.
class AsrOutputParser {
public:
    QList<AsrReport> feed(const QByteArray& chunk);

    // Whether the restore succeeded: the tool exited normally with status 0 and printed its
    // closing line or two complete copy passes after the prompt.
    bool succeeded(int exitCode, bool normalExit) const;

    int isTwoTime() const { return m_isTwoTime; }       // chunks naming a copy phase since the prompt
    int isTwoTime100() const { return m_isTwoTime100; } // chunks that were exactly "100"
    bool inProgress() const { return m_inProgress; }    // copying: the status line says "Cloning..."
    int completePasses() const { return m_completePasses; }
    bool sawClosingLine() const { return m_closingLine; }

    static constexpr char kPrompt[] = "[ny]";
    static constexpr char kClosingLine[] = "Restore completed successfully.";
    static constexpr char kCloningLabel[] = "Cloning...";

private:
    void handleChunk(const QByteArray& chunk, QList<AsrReport>& out);
    void takeLines(const QByteArray& bytes);
    void resetAtPrompt();
    int currentLineKind() const;

    // A line longer than this is no progress line and no closing line.
    static constexpr qsizetype kLongestLine = 4096;

    int m_isTwoTime = 0;
    int m_isTwoTime100 = 0;
    bool m_inProgress = false;
    int m_completePasses = 0;
    bool m_closingLine = false;
    QByteArray m_line;           // the line being assembled
    bool m_lineTooLong = false;  // it has passed kLongestLine
    bool m_inPromptLine = false; // after the prompt, before its line ends
    QByteArray m_scan;           // output since the last prompt, searched for the next one
};
