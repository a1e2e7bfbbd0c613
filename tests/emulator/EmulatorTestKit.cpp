#include "EmulatorTestKit.h"

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
