#include "core/QvPublicUtilities.h"

#include "core/CommandLine.h"
#include "core/CommandRunner.h"
#include "core/ConsoleLog.h"
#include "core/PropertyList.h"
#include "core/Resources.h"
#include "core/ServiceAddress.h"
#include "platform/Machine.h"
#include "platform/NetworkProbe.h"
#include "platform/SystemVersionSource.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QMutex>

#include <clocale>
#include <cstdlib>
#if defined(__APPLE__)
#include <xlocale.h>
#endif

namespace {

// strtof in the C locale whatever the process's locale: size texts always use a decimal point,
// and under a comma-decimal locale strtof would stop at it ("12.50" read as 12).
float strtofInC(const char* text) {
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return cLocale ? strtof_l(text, nullptr, cLocale) : std::strtof(text, nullptr);
}

// The quotient is computed in double, kept as a single-precision float and widened again, so
// 999,999,999,999 bytes read 1000.00 GB as they always have.
QString unitText(double bytes, double divisor, const char* format) {
    const float quotient = static_cast<float>(bytes / divisor);
    return QString::asprintf(format, static_cast<double>(quotient));
}

QString sizeText(double bytes, bool upToTerabytes) {
    if (bytes <= 999)
        return QString::asprintf("%.0f byte", bytes);
    if (bytes <= 999999)
        return unitText(bytes, 1000.0, "%0.2f KB");
    if (bytes <= 999999999)
        return unitText(bytes, 1000000.0, "%0.2f MB");
    if (bytes <= 999999999999.0 || !upToTerabytes)
        return unitText(bytes, 1000000000.0, "%0.2f GB");
    return unitText(bytes, 1000000000000.0, "%0.2f TB");
}

constexpr auto kDefaultNetworkCheckUrl = "http://www.example.com/";

} // namespace

QString QvPublicUtilities::convertVolSpace(std::uint64_t bytes) {
    return sizeText(static_cast<double>(bytes), false);
}

QString QvPublicUtilities::longlongDiskSize(std::int64_t bytes) {
    return sizeText(static_cast<double>(bytes), true);
}

QString QvPublicUtilities::longlongConvertVolSpace(std::int64_t bytes) {
    return sizeText(static_cast<double>(bytes), true);
}

std::uint64_t QvPublicUtilities::volSpaceFromString(const QString& text) {
    if (text.isEmpty())
        return 0;
    const QByteArray number = text.left(text.size() - 2).toUtf8();
    const double value = static_cast<double>(strtofInC(number.constData()));
    const QString unit = text.right(2);
    double factor = 0;
    if (unit == QLatin1String("KB"))
        factor = 1000.0;
    else if (unit == QLatin1String("MB"))
        factor = 1000000.0;
    else if (unit == QLatin1String("GB"))
        factor = 1000000000.0;
    else if (unit == QLatin1String("TB"))
        factor = static_cast<double>(1e12f); // single precision: 999,999,995,904
    const double bytes = value * factor;
    if (!(bytes > 0))
        return 0;
    if (bytes >= 18446744073709551615.0)
        return UINT64_MAX;
    return static_cast<std::uint64_t>(bytes);
}

bool QvPublicUtilities::isMoreThan2GB(std::int64_t bytes) {
    if (bytes < 1000000)
        return false;
    return static_cast<std::int64_t>(static_cast<double>(bytes) / 1000000.0) > 2048;
}

QString QvPublicUtilities::fileSystemTypeForInt(int number, bool isDmg, bool /*isEdi: accepted, ignored*/) {
    if (isDmg)
        return QStringLiteral("Disk Image");
    static const char* const names[] = {"FAT12", "FAT16", "FAT32", "NTFS", "EXT2",   "EXT3",
                                        "RAW",   "EXFAT", "HFS+",  "APFS", "Unknown"};
    if (number >= 0 && number <= 10)
        return QString::fromLatin1(names[number]);
    return QStringLiteral("Disk");
}

void QvPublicUtilities::getSystemVersionMajor(int* major, int* minor, int* bugFix) {
    // The system's version does not change while Tavrill runs: sw_vers runs once per machine, not
    // on every question (several come from the main thread). A failed query is asked again.
    static QMutex cacheLock;
    static QString cachedRoot;
    static std::optional<SystemVersionParts> cached;
    long error = 0;
    SystemVersionParts parts;
    QMutexLocker locker(&cacheLock);
    if (cached && cachedRoot == Machine::root()) {
        parts = *cached;
    } else if (const auto found = querySystemVersion(&error)) {
        parts = *found;
        cached = found;
        cachedRoot = Machine::root();
    } else {
        QvConsoleLog("Unable to obtain system version: %ld",
                     static_cast<long>(static_cast<std::int16_t>(error)));
    }
    if (major)
        *major = parts.major;
    if (minor)
        *minor = parts.minor;
    if (bugFix)
        *bugFix = parts.bugFix;
}

int QvPublicUtilities::getSystemVersion() {
    int major = 0;
    int minor = 0;
    getSystemVersionMajor(&major, &minor, nullptr);
    const QString minorText = minor < 10 ? QStringLiteral("0%1").arg(minor) : QString::number(minor);
    return (QString::number(major) + minorText).toInt();
}

QString QvPublicUtilities::settingsPath() {
    return resourcePath(QStringLiteral("PrivateData"), QStringLiteral("plist"));
}

std::optional<QVariantMap> QvPublicUtilities::readSettings() {
    return PropertyList::readDictionary(settingsPath());
}

QString QvPublicUtilities::getInstallVersion() {
    const auto settings = readSettings();
    return settings ? settings->value(QStringLiteral("INSTALL_VERSION")).toString() : QString();
}

QString QvPublicUtilities::getUpDataTimeStr() {
    const auto settings = readSettings();
    return settings ? settings->value(QStringLiteral("upDataTimeStr")).toString() : QString();
}

void QvPublicUtilities::writeUpDataTimeStr(const QString& text) {
    auto settings = readSettings();
    if (!settings)
        return;
    settings->insert(QStringLiteral("upDataTimeStr"), text);
    PropertyList::writeDictionary(settingsPath(), *settings);
}

bool QvPublicUtilities::isCanBeUseNetWork() {
    const auto settings = readSettings();
    QString url = settings ? settings->value(QStringLiteral("NetworkCheckURL")).toString() : QString();
    if (url.isEmpty())
        url = QString::fromLatin1(kDefaultNetworkCheckUrl);
    return httpAnswersWithData(serviceAddress(url), 5000);
}

QDateTime QvPublicUtilities::convertDateFromString(const QString& text) {
    const QLocale locale = QLocale::system();
    const QString format =
        locale.dateFormat(QLocale::LongFormat) + QLatin1Char(' ') + locale.timeFormat(QLocale::ShortFormat);
    return locale.toDateTime(text, format);
}

bool QvPublicUtilities::isBootable() {
    const auto settings = readSettings();
    return settings && settings->value(QStringLiteral("isBootable")).toString() == QLatin1String("YES");
}

QString QvPublicUtilities::GetCurrentLanaguage() {
    const QStringList languages = QLocale::system().uiLanguages();
    return languages.isEmpty() ? QStringLiteral("en") : languages.first();
}

std::optional<QVariantMap> QvPublicUtilities::QvGetDiskInfo(const char* device) {
    if (!device)
        return std::nullopt;
    return runForDictionary(Runner::GetExec,
                            QvFormatCommand(64, "diskutil info -plist %s", {QByteArray(device)}));
}

std::optional<QvStyledText> QvPublicUtilities::setAddItunesBackup(const QString& text, double pointSize) {
    if (text.isNull())
        return std::nullopt;
    QvStyledText styled;
    styled.text = text;
    styled.pointSize = pointSize;
    styled.color = getColor(255, 255, 255, 1);
    styled.centred = true;
    return styled;
}

QString getLocalizedString(const char* key) {
    if (!key)
        return QString(QLatin1String(""));
    return QCoreApplication::translate("Localizable", key);
}

QString GetLocalizedString(const char* key) {
    if (!key)
        return QStringLiteral(" ");
    return QCoreApplication::translate("Localizable", key);
}

QvColor getColor(double red, double green, double blue, double alpha) {
    return QvColor{red / 255.0, green / 255.0, blue / 255.0, alpha};
}

bool QvCheckFolderExist(const QString& macPath) {
    if (macPath.isNull())
        return false;
    return QFileInfo(Machine::hostPath(macPath)).isDir();
}

QString QvLinkUrl::GetUrl(const QString& key) {
    return GetUrlForLanguage(key, QvPublicUtilities::GetCurrentLanaguage());
}

QString QvLinkUrl::GetUrlForLanguage(const QString& key, const QString& language) {
    const auto settings = QvPublicUtilities::readSettings();
    if (!settings)
        return QString();
    const QVariant english = settings->value(QStringLiteral("en"));
    QString fallback;
    if (english.typeId() == QMetaType::QVariantMap)
        fallback = english.toMap().value(key).toString();
    const QVariant preferred = settings->value(language);
    if (preferred.typeId() == QMetaType::QVariantMap) {
        const QString url = preferred.toMap().value(key).toString();
        if (!url.isEmpty())
            return url;
    }
    return fallback;
}

int PublicObj::getSystemVersion() {
    return QvPublicUtilities::getSystemVersion();
}

void PublicObj::getSystemVersionMajor(int* major, int* minor, int* bugFix) {
    QvPublicUtilities::getSystemVersionMajor(major, minor, bugFix);
}

QString PublicObj::getLocalStr() {
    const auto settings = QvPublicUtilities::readSettings();
    const QString companion =
        settings ? settings->value(QStringLiteral("CompanionApp")).toString() : QString();
    if (companion.isEmpty() || !QCoreApplication::instance())
        return QString();
    // The folder that holds this application: beside the bundle on macOS, beside the binary
    // elsewhere.
    QDir folder(QCoreApplication::applicationDirPath());
    if (folder.path().endsWith(QLatin1String(".app/Contents/MacOS")))
        folder.cd(QStringLiteral("../../.."));
    return folder.absoluteFilePath(companion +
                                   QStringLiteral(".app/Contents/Resources/LocalVersionMessage.plist"));
}

void PublicObj::returnBootableIsSuccess(const QString& result) {
    if (result.isNull())
        return;
    const QString path = getLocalStr();
    if (path.isNull())
        return;
    // A message file that cannot be read is left alone: writing it would lose what it holds.
    std::optional<QVariantMap> message = PropertyList::readDictionary(path);
    if (!message)
        return;
    message->insert(QStringLiteral("BOOTRESULT"), result);
    PropertyList::writeDictionary(path, *message);
}
