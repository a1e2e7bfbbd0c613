#include "diskmanager/VolumeOperations.h"

#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/ConsoleLog.h"
#include "core/QvLog.h"
#include "platform/Machine.h"

#include <QProcess>

namespace {

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

// "reformat" runs on its own; the format does not wait for it, and nothing reads its end.
void launchReformat(const QString& volumePath) {
    QProcess task;
    task.setProgram(Machine::hostPath(QStringLiteral("/usr/sbin/diskutil")));
    task.setArguments({QStringLiteral("reformat"), volumePath});
    task.setProcessEnvironment(Machine::toolEnvironment());
    task.setStandardInputFile(QProcess::nullDevice());
    if (!task.startDetached())
        QvConsoleLog("diskutil reformat %s could not be started", utf8(volumePath).constData());
}

// The first `length` UTF-16 units of the text, without cutting a character of two units in half.
QString cutToCharacters(const QString& text, qsizetype length) {
    QString cut = text.left(length);
    if (!cut.isEmpty() && cut.back().isHighSurrogate())
        cut.chop(1);
    return cut;
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
    return cutToCharacters(text.toUpper(), 11);
}

bool VolumeOperations::isBlankName(const QString& text) {
    return text.isEmpty() || text == QLatin1String(" ");
}

bool VolumeOperations::renameVolume(VolumeObj& volume, const QString& editedText) {
    if (isBlankName(editedText))
        return false;
    QString name = editedText;
    if (volume.diskType().toLower().contains(QLatin1String("fat32")))
        name = fat32Name(name);
    const QString path =
        aepairExecCommand(QvFormatCommand(128, "diskutil rename %s \"%s\"", {volume.diskUUID(), name}));
    QvLog(" rename : %s ", utf8(path).constData());
    if (path.isNull())
        return false;
    volume.setVolumeName(name);
    return true;
}

bool VolumeOperations::formatVolume(const VolumeObj& volume, const QString& name, const QString& type) {
    switch (formatBranch(volume.diskType())) {
    case FormatBranch::General: {
        QString finalName = isBlankName(name) ? QStringLiteral("NEW") : name;
        if (type == QLatin1String("MS-DOS FAT32"))
            finalName = fat32Name(finalName);
        // The type goes to the shell between double quotes, as one argument, like the name
        // and the device.
        const QString path = eraserExecCommand(QvFormatCommand(
            128, "diskutil eraseVolume \"%s\" \"%s\" \"%s\"", {type, finalName, volume.volRootDir()}));
        logErase(" 1 ", path, finalName);
        return !path.isNull();
    }
    case FormatBranch::Ntfs: {
        // The name and type chosen are not used: an NTFS volume always becomes FAT32 "NEW".
        const QString path = eraserExecCommand(
            QvFormatCommand(128, "diskutil eraseVolume \"MS-DOS FAT32\" NEW \"%s\"", {volume.volRootDir()}));
        logErase(" 2 ", path, QStringLiteral("NEW"));
        return !path.isNull();
    }
    case FormatBranch::Apfs: {
        // An APFS volume keeps its file system: it takes the new name and is reformatted.
        QString finalName = name;
        if (volume.diskType().toLower() == QLatin1String("fat32"))
            finalName = finalName.toUpper().left(11);
        QvLog(" 3 ");
        const QString path = changeNameExecCommand(
            QvFormatCommand(128, "diskutil rename %s \"%s\"", {volume.diskUUID(), finalName}));
        launchReformat(volume.volumePath());
        return !path.isNull();
    }
    }
    return false;
}

bool VolumeOperations::ejectVolume(const VolumeObj& volume) {
    if (volume.diskUUID().isEmpty())
        return false;
    return !aepairExecCommand(QvFormatCommand(64, "diskutil eject %s", {volume.diskUUID()})).isNull();
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
