#include "EmulatorTestKit.h"

#include <QDir>

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

bool isWholeDisk(const EmulatedMac& mac, const QString& disk) {
    return mac.diskList().value("WholeDisks").toStringList().contains(disk);
}

QString physicalStoreOf(const QVariantMap& info) {
    return info.value("APFSPhysicalStores").toList().value(0).toMap().value("APFSPhysicalStore").toString();
}
