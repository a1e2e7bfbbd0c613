#include "update/UpdateInfo.h"

#include "core/PropertyList.h"
#include "core/QvPublicUtilities.h"
#include "core/ServiceAddress.h"

#include <QVariantMap>

namespace {

const QString kVersionCheckKey = QStringLiteral("VersionCheck");
const QString kVersionKey = QStringLiteral("Version");

// Text of a value as one line shows it: strings and numbers as they are, containers and data
// as nothing. Cut to maxChars with an ellipsis.
QString lineText(const QVariant& value, int maxChars) {
    QString text;
    switch (value.typeId()) {
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::Double:
    case QMetaType::Bool:
        text = value.toString();
        break;
    default:
        break;
    }
    if (text.size() > maxChars) {
        // Never leave half of a surrogate pair at the cut.
        qsizetype cut = maxChars - 1;
        if (cut > 0 && text.at(cut - 1).isHighSurrogate())
            --cut;
        text = text.left(cut) + QChar(0x2026);
    }
    return text;
}

} // namespace

namespace UpdateInfoReader {

qint64 buildNumber(const QVariant& value) {
    if (value.typeId() == QMetaType::LongLong)
        return value.toLongLong();
    if (value.typeId() != QMetaType::QString)
        return 0;
    bool ok = false;
    const qint64 number = value.toString().trimmed().toLongLong(&ok);
    return ok ? number : 0;
}

std::optional<UpdateInfo> read(const QByteArray& bytes) {
    if (bytes.size() > kMaxFileBytes)
        return std::nullopt;
    std::optional<QVariantMap> dictionary = PropertyList::dictionaryFromBytes(bytes);
    if (!dictionary)
        return std::nullopt;

    UpdateInfo info;
    info.versionCheck = buildNumber(dictionary->take(kVersionCheckKey));
    info.version = lineText(dictionary->take(kVersionKey), kMaxVersionChars);

    // What is left are the numbered lines: as many as there are entries, taken by number from
    // "1", so a missing number leaves an empty line in its place.
    const qsizetype count = std::min<qsizetype>(dictionary->size(), kMaxLines);
    info.lines.reserve(count);
    for (qsizetype i = 1; i <= count; ++i)
        info.lines.append(lineText(dictionary->value(QString::number(i)), kMaxLineChars));
    return info;
}

} // namespace UpdateInfoReader

qint64 localBuildNumber() {
    const auto settings = QvPublicUtilities::readSettings();
    return settings ? UpdateInfoReader::buildNumber(settings->value(kVersionCheckKey)) : 0;
}

bool isNewerVersion(const std::optional<UpdateInfo>& fetched, qint64 localBuild) {
    return (fetched ? fetched->versionCheck : 0) > localBuild;
}

QString updateInformationAddress() {
    return serviceAddress(QvLinkUrl::GetUrl(QStringLiteral("IniURL")));
}

QString updateDownloadAddress() {
    return serviceAddress(QvLinkUrl::GetUrl(QStringLiteral("DownloadURL")));
}
