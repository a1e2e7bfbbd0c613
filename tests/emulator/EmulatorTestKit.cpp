#include "EmulatorTestKit.h"

#include "core/PropertyList.h"

QVariantMap diskInfo(const EmulatedMac& mac, const QString& arg) {
    const EmulatedMac::Run r =
        mac.run(QStringLiteral("diskutil"), {QStringLiteral("info"), QStringLiteral("-plist"), arg});
    return PropertyList::dictionaryFromBytes(r.out).value_or(QVariantMap());
}

QVariantMap diskList(const EmulatedMac& mac, const QStringList& filters) {
    const EmulatedMac::Run r = mac.run(
        QStringLiteral("diskutil"), QStringList{QStringLiteral("list"), QStringLiteral("-plist")} + filters);
    return PropertyList::dictionaryFromBytes(r.out).value_or(QVariantMap());
}

QByteArray scenarioJson(const QString& version, const QByteArray& disks) {
    return "{\"version\":\"" + version.toUtf8() + "\",\"user\":\"alex\",\"disks\":" + disks + "}";
}

bool keysInByteOrder(const QByteArray& xml) {
    QList<QByteArray> lastKey; // one entry per open <dict>
    for (const QByteArray& raw : xml.split('\n')) {
        const QByteArray line = raw.trimmed();
        if (line == "<dict>") {
            lastKey << QByteArray();
        } else if (line == "</dict>") {
            if (lastKey.isEmpty())
                return false;
            lastKey.removeLast();
        } else if (line.startsWith("<key>")) {
            const QByteArray key = line.mid(5, line.size() - 11);
            if (lastKey.isEmpty() || (!lastKey.last().isEmpty() && !(lastKey.last() < key)))
                return false;
            lastKey.last() = key;
        }
    }
    return lastKey.isEmpty();
}

QVariantList partitionsOf(const QVariantMap& list, const QString& disk) {
    for (const QVariant& e : list.value(QStringLiteral("AllDisksAndPartitions")).toList()) {
        const QVariantMap m = e.toMap();
        if (m.value(QStringLiteral("DeviceIdentifier")).toString() == disk)
            return m.value(QStringLiteral("Partitions")).toList() +
                   m.value(QStringLiteral("APFSVolumes")).toList();
    }
    return {};
}
