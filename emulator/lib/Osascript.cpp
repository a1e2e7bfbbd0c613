// The emulated osascript: only "do shell script "..." [with prompt "..."] with administrator
// privileges", the way programs get root rights from the person at the Mac. The dialog is
// answered as the machine's "authorization" knob says; approved, the script runs under /bin/sh
// as root (for the emulated tools: with the root marker in its environment) and osascript waits
// for it, as the real one does.

#include "EmuTools.h"

#include <QProcess>
#include <QRegularExpression>

#include <csignal>
#include <unistd.h>

namespace emu {

namespace {

// The text of an AppleScript string literal (without its quotes).
QString unescape(const QString& literal) {
    QString out;
    for (qsizetype i = 0; i < literal.size(); ++i) {
        const QChar c = literal.at(i);
        if (c != QLatin1Char('\\') || i + 1 == literal.size()) {
            out += c;
            continue;
        }
        const QChar next = literal.at(++i);
        if (next == QLatin1Char('n'))
            out += QLatin1Char('\n');
        else if (next == QLatin1Char('t'))
            out += QLatin1Char('\t');
        else if (next == QLatin1Char('r'))
            out += QLatin1Char('\r');
        else
            out += next;
    }
    return out;
}

// osascript's error line: the character range of the statement, then the error.
int executionError(const QString& script, const QString& message, int number) {
    writeAll(STDERR_FILENO, QStringLiteral("0:%1: execution error: %2 (%3)\n")
                                .arg(script.size())
                                .arg(message)
                                .arg(number)
                                .toUtf8());
    return 1;
}

} // namespace

int osascriptMain(MachineState& m, const QStringList& args) {
    if (args.size() != 2 || args.at(0) != QLatin1String("-e")) {
        writeAll(STDERR_FILENO, "usage: osascript [-l language] [-e script] [-i] [-s {ehso}] [programfile] "
                                "[argument ...]\n");
        return 1;
    }
    const QString script = args.at(1);
    static const QRegularExpression form(QStringLiteral(
        R"re(^\s*do shell script "((?:[^"\\]|\\.)*)"((?:\s+with prompt "(?:[^"\\]|\\.)*")?)((?:\s+with administrator privileges)?)((?:\s+with prompt "(?:[^"\\]|\\.)*")?)\s*$)re"));
    const QRegularExpressionMatch match = form.match(script);
    if (!match.hasMatch()) {
        writeAll(STDERR_FILENO,
                 QStringLiteral(
                     "0:%1: syntax error: A identifier can\u2019t go after this \u201c\"\u201d. (-2740)\n")
                     .arg(script.size())
                     .toUtf8());
        return 1;
    }
    const bool administrator = !match.captured(3).isEmpty();
    if (administrator) {
        m.load();
        if (m.authorization == QLatin1String("cancel"))
            return executionError(script, QStringLiteral("User canceled."), -128);
        if (m.authorization == QLatin1String("deny"))
            return executionError(
                script, QStringLiteral("The administrator user name or password was incorrect."), -60005);
    }

    QProcess shell;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (administrator)
        environment.insert(QString::fromLatin1(kRootMarker), QStringLiteral("0"));
    else
        environment.remove(QString::fromLatin1(kRootMarker));
    shell.setProcessEnvironment(environment);
    shell.setStandardInputFile(QProcess::nullDevice());
    shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), unescape(match.captured(1))});
    if (!shell.waitForStarted(-1))
        return executionError(script, QStringLiteral("sh: cannot start"), 127);
    shell.waitForFinished(-1);
    QByteArray out = shell.readAllStandardOutput();
    const QByteArray err = shell.readAllStandardError();
    const int status = shell.exitStatus() == QProcess::NormalExit ? shell.exitCode() : 128 + SIGKILL;
    if (status != 0)
        return executionError(script, QString::fromUtf8(err).trimmed(), status);
    // The result of "do shell script": its output, line ends turned into "\r", the last dropped.
    if (out.endsWith('\n'))
        out.chop(1);
    out.replace('\n', '\r');
    writeAll(STDOUT_FILENO, out + '\n');
    return 0;
}

} // namespace emu
