#include "VolumesTestKit.h"

#include <QDir>
#include <QFile>

namespace VolumesTestKit {

std::unique_ptr<EmulatedMac> machine(const QByteArray& version, const QByteArray& disksJson,
                                     const QByteArray& extra) {
    return EmulatedMac::fromJson("{\"version\":\"" + version + "\",\"user\":\"alex\",\"disks\":[" +
                                 disksJson + "]" + (extra.isEmpty() ? QByteArray() : "," + extra) + "}");
}

QByteArray usbStick(const QByteArray& name, const QByteArray& size, const QByteArray& fields) {
    return "{\"name\":\"" + name + "\",\"mediaName\":\"" + name + "\",\"size\":\"" + size +
           "\",\"scheme\":\"MBR\",\"partitions\":[{\"fs\":\"FAT32\",\"name\":\"" + name.toUpper() + "\"}]" +
           fields + "}";
}

QByteArray twoVolumeDrive() {
    return R"({"name":"t7","mediaName":"Samsung PSSD T7","registryName":"Samsung PSSD T7 Media",
      "size":"500.11GB","scheme":"GPT","removable":false,"solidState":true,"partitions":[
        {"fs":"ExFAT","name":"Backup","size":"400GB","used":"80GB","seed":{"files":2,"size":20000,"seed":4}},
        {"fs":"FAT32","name":"WINDOWS","size":"99GB","seed":{"files":3,"size":18940,"seed":5}}]})";
}

QStringList volumesListing(const EmulatedMac& mac) {
    return QDir(mac.host(QStringLiteral("/Volumes")))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
}

QString deviceOf(const EmulatedMac& mac, const QString& mountPoint) {
    QString escaped = mountPoint;
    escaped.replace(QLatin1Char(' '), QStringLiteral("\\040"));
    for (const QByteArray& line : mac.mountTable().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() > 2 && QString::fromUtf8(fields[1]) == escaped)
            return QString::fromUtf8(fields[0]).mid(5);
    }
    return QString();
}

QStringList namesOf(const VolumeObjList& list) {
    QStringList names;
    for (const VolumeObjRef& v : list)
        names << v->volumeName();
    return names;
}

VolumeObjRef volumeNamed(const VolumeObjList& list, const QString& name) {
    for (const VolumeObjRef& v : list)
        if (v->volumeName() == name)
            return v;
    return VolumeObjRef();
}

} // namespace VolumesTestKit
