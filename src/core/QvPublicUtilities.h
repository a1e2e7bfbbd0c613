#pragma once

#include <QDateTime>
#include <QString>
#include <QVariantMap>

#include <cstdint>
#include <optional>

// A colour with red, green and blue in 0..1 and alpha in 0..1; screens turn it into QColor.
struct QvColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
    bool operator==(const QvColor&) const = default;
};

// A text with the look it is drawn in: the system font at pointSize, a colour, centred.
struct QvStyledText {
    QString text;
    double pointSize = 0;
    QvColor color;
    bool centred = true;
};

// Size texts, the running system's version, settings from PrivateData.plist and small helpers.
// Class methods only; no state is kept between calls and every settings read opens the file
// anew.
class QvPublicUtilities {
public:
    QvPublicUtilities() = delete;

    static QString convertVolSpace(std::uint64_t bytes);        // largest unit GB
    static QString longlongDiskSize(std::int64_t bytes);        // up to TB
    static QString longlongConvertVolSpace(std::int64_t bytes); // up to TB: every VolumeObj size
    static std::uint64_t volSpaceFromString(const QString& text);
    static bool isMoreThan2GB(std::int64_t bytes);
    // isEdi is accepted and ignored.
    static QString fileSystemTypeForInt(int number, bool isDmg, bool isEdi);

    static int getSystemVersion(); // major * 100 + minor: 1015, 1100
    static void getSystemVersionMajor(int* major, int* minor, int* bugFix);

    static QString getInstallVersion();
    static QString getUpDataTimeStr();
    static void writeUpDataTimeStr(const QString& text);
    static bool isCanBeUseNetWork();
    static QDateTime convertDateFromString(const QString& text);
    static bool isBootable();
    static QString GetCurrentLanaguage();
    static std::optional<QVariantMap> QvGetDiskInfo(const char* device);
    static std::optional<QvStyledText> setAddItunesBackup(const QString& text, double pointSize);

    // The settings file's host path and its contents (nothing when it cannot be read).
    static QString settingsPath();
    static std::optional<QVariantMap> readSettings();
};

QString getLocalizedString(const char* key);                           // a null key gives ""
QString GetLocalizedString(const char* key);                           // a null key gives " "
QvColor getColor(double red, double green, double blue, double alpha); // channels in 0..255
bool QvCheckFolderExist(const QString& macPath);

// Web addresses per language, from the settings file.
class QvLinkUrl {
public:
    static QString GetUrl(const QString& key);
    // The same lookup for a given preferred language.
    static QString GetUrlForLanguage(const QString& key, const QString& language);
};

// An older class that keeps a copy of the version functions and writes the clone result for a
// companion application.
class PublicObj {
public:
    static int getSystemVersion();
    static void getSystemVersionMajor(int* major, int* minor, int* bugFix);
    // Host path of LocalVersionMessage.plist in the companion application's resources, or null.
    static QString getLocalStr();
    static void returnBootableIsSuccess(const QString& result);
};
