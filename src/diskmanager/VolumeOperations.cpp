#include "diskmanager/VolumeOperations.h"

#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/QvLog.h"
#include "diskmanager/DiskManagerTexts.h"
#include "platform/Machine.h"
#include "platform/Shell.h"

#include <QFile>
#include <QRegularExpression>

namespace {

constexpr qsizetype kFatNameLength = 11;
constexpr qsizetype kMacNameBytes = 255;

QByteArray utf8(const QString& text) {
    return text.toUtf8();
}

// The erase commands report the same three lines whichever branch ran them.
void logErase(const char* branch, const QString& path, const QString& name) {
    QvLog("%s", branch);
    QvLog(" rename : %s ", utf8(path).constData());
    if (!path.isNull())
        QvLog("format volume : %s", utf8(name).constData());
}

// The first `length` UTF-16 units of the text, without cutting a character of two units in half.
QString cutToCharacters(const QString& text, qsizetype length) {
    QString cut = text.left(length);
    if (!cut.isEmpty() && cut.back().isHighSurrogate())
        cut.chop(1);
    return cut;
}

enum class NameRules { Fat, ExFat, Mac, None };

NameRules rulesFor(const QString& fileSystem) {
    const QString fs = fileSystem.toLower();
    if (fs.contains(QLatin1String("exfat")))
        return NameRules::ExFat;
    if (fs.contains(QLatin1String("fat")) || fs.contains(QLatin1String("ms-dos")) ||
        fs == QLatin1String("msdos"))
        return NameRules::Fat;
    if (fs.contains(QLatin1String("apfs")) || fs.contains(QLatin1String("hfs")))
        return NameRules::Mac;
    return NameRules::None;
}

// The last line the tool printed, for a failure it explains itself.
QString lastLine(const QString& outputPath) {
    QFile file(outputPath);
    if (outputPath.isNull() || !file.open(QIODevice::ReadOnly))
        return QString();
    const QList<QByteArray> lines = file.read(64 * 1024).split('\n');
    for (auto it = lines.crbegin(); it != lines.crend(); ++it) {
        const QByteArray line = it->trimmed();
        if (!line.isEmpty())
            return QString::fromUtf8(line);
    }
    return QString();
}

// The outcome of one runner run; `said` is the text a successful run prints, if it prints one.
VolumeOperations::Outcome outcomeOf(const RunnerResult& result, const char* said = nullptr) {
    VolumeOperations::Outcome outcome;
    outcome.ran = result.run.started;
    if (!result.run.started) {
        outcome.message = DiskManagerTexts::toolNotRun();
    } else if (result.run.timedOut) {
        outcome.message = DiskManagerTexts::toolStopped();
    } else if (!result.run.succeeded()) {
        const QString line = lastLine(result.path);
        outcome.message = line.isEmpty() ? DiskManagerTexts::toolFailed(result.run.exitCode) : line;
        QFile file(result.path);
        if (!result.path.isNull() && file.open(QIODevice::ReadOnly))
            VolumeOperations::readDissenter(file.read(64 * 1024), &outcome.dissenterPid,
                                            &outcome.dissenterPath);
    } else if (said) {
        QFile file(result.path);
        outcome.succeeded = file.open(QIODevice::ReadOnly) && file.readAll().contains(said);
        if (!outcome.succeeded)
            outcome.message = DiskManagerTexts::eraseNotFinished();
    } else {
        outcome.succeeded = true;
    }
    return outcome;
}

VolumeOperations::Outcome refused(const QString& problem) {
    VolumeOperations::Outcome outcome;
    outcome.message = problem;
    return outcome;
}

// The command line, or the problem that it does not fit its buffer.
VolumeOperations::NameCheck withLine(VolumeOperations::NameCheck check, const QByteArray& line) {
    if (check.problem.isNull() && line.isNull())
        check.problem = DiskManagerTexts::nameTooLongForTool();
    return check;
}

QByteArray renameLine(const VolumeObj& volume, const QString& name) {
    return QvFormatCommand(128, "diskutil rename %s \"%s\"", {volume.diskUUID(), name});
}

QByteArray eraseLine(const VolumeObj& volume, const QString& name, const QString& type) {
    // The type goes to the shell between double quotes, as one argument, like the name and the
    // device.
    return QvFormatCommand(128, "diskutil eraseVolume \"%s\" \"%s\" \"%s\"",
                           {type, name, volume.volRootDir()});
}

} // namespace

VolumeOperations::FormatBranch VolumeOperations::formatBranch(const QString& diskType) {
    const QString type = diskType.toLower();
    if (!type.contains(QLatin1String("apfs")) && !type.contains(QLatin1String("ntfs")))
        return FormatBranch::General;
    if (type.contains(QLatin1String("ntfs")))
        return FormatBranch::Ntfs;
    return FormatBranch::Apfs;
}

bool VolumeOperations::containsChinese(const QString& text) {
    for (QChar c : text) {
        if (c.unicode() >= 0x4E01 && c.unicode() <= 0x9FFE)
            return true;
    }
    return false;
}

QString VolumeOperations::fat32Name(const QString& text) {
    if (containsChinese(text))
        return QStringLiteral("NEW");
    return cutToCharacters(text.toUpper(), kFatNameLength);
}

bool VolumeOperations::isBlankName(const QString& text) {
    return text.isEmpty() || text == QLatin1String(" ");
}

QString VolumeOperations::nameProblem(const QString& name, const QString& fileSystem) {
    const NameRules rules = rulesFor(fileSystem);
    if (rules == NameRules::None)
        return QString();
    for (QChar c : name) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            return DiskManagerTexts::nameControlCharacter();
    }
    if (rules == NameRules::Mac) {
        if (name.contains(QLatin1Char(':')))
            return DiskManagerTexts::nameRefusedCharacter(fileSystem, QStringLiteral(":"));
        if (name.toUtf8().size() > kMacNameBytes)
            return DiskManagerTexts::nameTooLongBytes(fileSystem);
        return QString();
    }
    if (name.size() > kFatNameLength)
        return DiskManagerTexts::nameTooLong(fileSystem, kFatNameLength);
    const QString refusedCharacters =
        rules == NameRules::Fat ? QStringLiteral("\"*+,./:;<=>?[\\]|") : QStringLiteral("\"*/:<>?\\|");
    for (QChar c : name) {
        if (refusedCharacters.contains(c))
            return DiskManagerTexts::nameRefusedCharacter(fileSystem, QString(c));
        if (rules == NameRules::Fat && c.isLower())
            return DiskManagerTexts::nameLowerCase(fileSystem);
    }
    return QString();
}

VolumeOperations::NameCheck VolumeOperations::checkRenameName(const VolumeObj& volume,
                                                              const QString& editedText) {
    NameCheck check;
    if (isBlankName(editedText))
        return check;
    check.name = editedText;
    if (volume.diskType().toLower().contains(QLatin1String("fat32")))
        check.name = fat32Name(check.name);
    check.problem = nameProblem(check.name, volume.diskType());
    return check.problem.isNull() ? withLine(check, renameLine(volume, check.name)) : check;
}

VolumeOperations::NameCheck VolumeOperations::checkFormatName(const VolumeObj& volume, const QString& name,
                                                              const QString& type) {
    NameCheck check;
    switch (formatBranch(volume.diskType())) {
    case FormatBranch::General:
        check.name = isBlankName(name) ? QStringLiteral("NEW") : name;
        if (type == QLatin1String("MS-DOS FAT32"))
            check.name = fat32Name(check.name);
        check.problem = nameProblem(check.name, type);
        return check.problem.isNull() ? withLine(check, eraseLine(volume, check.name, type)) : check;
    case FormatBranch::Ntfs:
        check.name = QStringLiteral("NEW");
        return check;
    case FormatBranch::Apfs:
        check.name = name;
        check.problem =
            isBlankName(name) ? DiskManagerTexts::nameMissing() : nameProblem(name, volume.diskType());
        return check.problem.isNull() ? withLine(check, renameLine(volume, check.name)) : check;
    }
    return check;
}

VolumeOperations::Outcome VolumeOperations::renameVolume(VolumeObj& volume, const QString& editedText) {
    const NameCheck check = checkRenameName(volume, editedText);
    if (check.name.isNull())
        return Outcome();
    if (!check.usable())
        return refused(check.problem);
    const RunnerResult result = runCommand(Runner::AepairExec, renameLine(volume, check.name));
    QvLog(" rename : %s ", utf8(result.path).constData());
    const Outcome outcome = outcomeOf(result);
    if (outcome.succeeded)
        volume.setVolumeName(check.name);
    return outcome;
}

VolumeOperations::Outcome VolumeOperations::formatVolume(const VolumeObj& volume, const QString& name,
                                                         const QString& type) {
    const NameCheck check = checkFormatName(volume, name, type);
    if (!check.usable())
        return refused(check.problem);
    switch (formatBranch(volume.diskType())) {
    case FormatBranch::General: {
        const RunnerResult result = runCommand(Runner::EraserExec, eraseLine(volume, check.name, type));
        logErase(" 1 ", result.path, check.name);
        return outcomeOf(result, "Finished erase");
    }
    case FormatBranch::Ntfs: {
        // The name and type chosen are not used: an NTFS volume always becomes FAT32 "NEW".
        const RunnerResult result = runCommand(
            Runner::EraserExec,
            QvFormatCommand(128, "diskutil eraseVolume \"MS-DOS FAT32\" NEW \"%s\"", {volume.volRootDir()}));
        logErase(" 2 ", result.path, check.name);
        return outcomeOf(result, "Finished erase");
    }
    case FormatBranch::Apfs: {
        // An APFS volume keeps its file system: it takes the new name and is reformatted, but
        // only once the rename has gone through.
        QvLog(" 3 ");
        const Outcome renamed = outcomeOf(runCommand(Runner::ChangeNameExec, renameLine(volume, check.name)));
        if (!renamed.succeeded)
            return renamed;
        const ToolRun reformat =
            runTool(Machine::hostPath(QStringLiteral("/usr/sbin/diskutil")),
                    {QStringLiteral("reformat"), volume.volumePath()}, toolTimeLimits().longMs);
        if (reformat.timedOut)
            QvLog("stopped diskutil reformat %s: time limit reached", utf8(volume.volumePath()).constData());
        Outcome outcome;
        outcome.ran = true;
        outcome.succeeded = reformat.succeeded();
        if (!reformat.started)
            outcome.message = DiskManagerTexts::toolNotRun();
        else if (reformat.timedOut)
            outcome.message = DiskManagerTexts::toolStopped();
        else if (!outcome.succeeded)
            outcome.message = DiskManagerTexts::toolFailed(reformat.exitCode);
        return outcome;
    }
    }
    return Outcome();
}

VolumeOperations::Outcome VolumeOperations::ejectVolume(const VolumeObj& volume) {
    if (volume.diskUUID().isEmpty())
        return Outcome();
    return outcomeOf(
        runCommand(Runner::AepairExec, QvFormatCommand(64, "diskutil eject %s", {volume.diskUUID()})));
}

VolumeOperations::Outcome VolumeOperations::forceEjectVolume(const VolumeObj& volume) {
    if (volume.diskUUID().isEmpty())
        return Outcome();
    const Outcome unmounted = outcomeOf(runCommand(
        Runner::AepairExec, QvFormatCommand(64, "diskutil unmount force %s", {volume.diskUUID()})));
    if (!unmounted.succeeded)
        return unmounted;
    return ejectVolume(volume);
}

bool VolumeOperations::readDissenter(const QByteArray& output, int* pid, QString* path) {
    // "…failed to unmount: dissented by PID 2387 (/bin/zsh)" or "Unmount was dissented by PID
    // 99216 (/usr/bin/login)"; the dissenter's parent on the next line is not the holder.
    static const QRegularExpression dissent(QStringLiteral("dissented by PID (\\d+) \\(([^\\n]*)\\)\\s*$"),
                                            QRegularExpression::MultilineOption);
    const QRegularExpressionMatch m = dissent.match(QString::fromUtf8(output));
    if (!m.hasMatch() || m.captured(1).toInt() <= 0)
        return false;
    *pid = m.captured(1).toInt();
    *path = m.captured(2);
    return true;
}

VolumeOperations::NameHint VolumeOperations::nameHint(const QString& typed, const NameCheck& check) {
    if (check.name.isNull())
        return NameHint();
    if (!check.problem.isNull())
        return NameHint{check.problem, true};
    QString reason;
    if (check.name == typed) {
        // Nothing to explain.
    } else if (isBlankName(typed)) {
        reason = DiskManagerTexts::reasonNoName();
    } else if (containsChinese(typed)) {
        reason = DiskManagerTexts::reasonFat32Characters();
    } else {
        reason = DiskManagerTexts::reasonFat32(typed.size() > kFatNameLength, typed.toUpper() != typed);
    }
    return NameHint{DiskManagerTexts::willBeNamed(check.name, reason), false};
}

VolumeOperations::NameHint VolumeOperations::renameHint(const VolumeObj& volume, const QString& editedText) {
    return nameHint(editedText, checkRenameName(volume, editedText));
}

VolumeOperations::NameHint VolumeOperations::formatHint(const VolumeObj& volume, const QString& name,
                                                        const QString& type) {
    const NameCheck check = checkFormatName(volume, name, type);
    if (formatBranch(volume.diskType()) == FormatBranch::Ntfs)
        return NameHint{DiskManagerTexts::willBeNamed(check.name, DiskManagerTexts::reasonNtfs()), false};
    return nameHint(name, check);
}

std::optional<QVariantMap> VolumeOperations::getDisjInfo(const char* name) {
    if (!name)
        return std::nullopt;
    return runForDictionary(Runner::AepairExec,
                            QvFormatCommand(128, "diskutil info -plist %s", {QByteArray(name)}));
}

std::optional<QVariantMap> VolumeOperations::getAllDiskAndVolumes() {
    return runForDictionary(Runner::AepairExec, QvFormatCommand(128, "diskutil list -plist",
                                                                std::initializer_list<QByteArray>{}));
}
