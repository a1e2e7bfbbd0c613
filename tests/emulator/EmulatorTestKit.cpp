#include "EmulatorTestKit.h"

#include <QDir>

QVariantList partitionsOf(const QVariantMap& list, const QString& disk) {
    for (const QVariant& e : list.value("AllDisksAndPartitions").toList()) {
        const QVariantMap m = e.toMap();
        if (m.value("DeviceIdentifier").toString() == disk)
            return m.value("Partitions").toList() + m.value("APFSVolumes").toList();
    }
    return {};
}

QStringList entriesOf(const EmulatedMac& mac, const QString& macPath) {
    return QDir(mac.host(macPath)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

QString infoText(const EmulatedMac& mac, const QString& arg, const QString& key) {
    return mac.diskInfo(arg).value(key).toString();
}

QString fieldsOf(const QVariantMap& info, const QStringList& keys) {
    QStringList values;
    for (const QString& key : keys)
        values << (info.contains(key) ? info.value(key).toString() : QStringLiteral("-"));
    return values.join(QLatin1Char('|'));
}

bool isWholeDisk(const EmulatedMac& mac, const QString& disk) {
    return mac.diskList().value("WholeDisks").toStringList().contains(disk);
}
