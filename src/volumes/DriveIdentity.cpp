#include "volumes/DriveIdentity.h"

#include "core/QvPublicUtilities.h"

#include <QStringList>

namespace {

const QString kDot = QStringLiteral(" \u00b7 ");

QString sizeText(std::int64_t bytes) {
    return QvPublicUtilities::longlongConvertVolSpace(bytes);
}

} // namespace

std::int64_t DriveIdentity::usedBytes(const QList<DriveVolume>& volumes) {
    std::int64_t total = 0;
    for (const DriveVolume& v : volumes) {
        if (v.usedBytes > 0)
            total += v.usedBytes;
    }
    return total;
}

QList<DriveVolume> DriveIdentity::volumesOn(const QString& device) const {
    const QString id = device.section(QLatin1Char('/'), -1);
    QList<DriveVolume> found;
    for (const DriveVolume& v : volumes) {
        if (v.device == id)
            found << v;
    }
    return found;
}

QString DriveIdentity::modelAndBus() const {
    QStringList parts;
    parts << (model.isEmpty() ? QStringLiteral("Unknown drive") : model);
    if (!bus.isEmpty())
        parts << bus;
    return parts.join(kDot);
}

QString DriveIdentity::summary() const {
    QString text = modelAndBus();
    if (capacity >= 0)
        text += kDot + sizeText(capacity);
    if (startupDisk)
        text += kDot + startupDiskText();
    return text;
}

QStringList DriveIdentity::detailLines() const {
    if (!isKnown())
        return {};
    return {summary(), volumesText(volumes)};
}

QString DriveIdentity::volumeUse(const DriveVolume& volume) {
    if (volume.usedBytes < 0)
        return QStringLiteral("%1 \u2014 not mounted").arg(volume.name);
    return QStringLiteral("%1 \u2014 %2 used").arg(volume.name, sizeText(volume.usedBytes));
}

QString DriveIdentity::volumesText(const QList<DriveVolume>& volumes) {
    if (volumes.isEmpty())
        return QStringLiteral("no volumes");
    QStringList uses;
    for (const DriveVolume& v : volumes)
        uses << volumeUse(v);
    return uses.join(QStringLiteral(", "));
}

QString DriveIdentity::dataErased(const QList<DriveVolume>& volumes) {
    const std::int64_t used = usedBytes(volumes);
    if (used <= 0)
        return QString();
    return QStringLiteral("%1 of data will be erased").arg(sizeText(used));
}

QString DriveIdentity::startupDiskText() {
    return QStringLiteral("start-up disk");
}
