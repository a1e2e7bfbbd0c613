#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// What the update service says about the newest version, read from its property-list file.
struct UpdateInfo {
    qint64 versionCheck = 0; // build number of the newest version; 0 when missing or not a number
    QString version;         // its version text, shown to the user
    QStringList lines;       // what is new, line "1" first; a missing number is an empty line
};

// Reading the update information file. The file comes from the network and is treated as
// hostile: everything here is bounded and nothing is interpreted beyond plain text.
namespace UpdateInfoReader {

// Larger files are not update information and are not parsed at all.
constexpr qsizetype kMaxFileBytes = 1024 * 1024;
// The list shows at most this many lines, each cut to this many characters.
constexpr int kMaxLines = 200;
constexpr int kMaxLineChars = 1000;
constexpr int kMaxVersionChars = 64;

// The file's contents, or nothing when the bytes are not usable: too large, not a property
// list, or not a dictionary.
std::optional<UpdateInfo> read(const QByteArray& bytes);

// A build number: an integer, or a string that holds one (surrounding blanks allowed). Anything
// else, including text, reals and numbers beyond 64 bits, reads as 0.
qint64 buildNumber(const QVariant& value);

} // namespace UpdateInfoReader

// The build number of this copy of the program ("VersionCheck" of the settings file; 0 when
// the settings cannot be read).
qint64 localBuildNumber();

// True when the fetched information names a newer build than this copy's. Nothing fetched
// reads as build 0.
bool isNewerVersion(const std::optional<UpdateInfo>& fetched, qint64 localBuild);

// Where the update information file and the download page are, for the user's preferred
// language with English as the fallback (empty when the settings have none).
QString updateInformationAddress();
QString updateDownloadAddress();
