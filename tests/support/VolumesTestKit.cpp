#include "VolumesTestKit.h"

#include <QDir>
#include <QFile>

namespace VolumesTestKit {

std::unique_ptr<EmulatedMac> machine(const QByteArray& version, const QByteArray& disksJson,
                                     const QByteArray& extra) {
    QByteArray json = "{\"version\":\"" + version + "\",\"user\":\"alex\",\"disks\":[" + disksJson + "]";
    if (!extra.isEmpty())
        json += "," + extra;
    json += "}";
    return EmulatedMac::fromJson(json);
}

QByteArray usbStick(const QByteArray& name, const QByteArray& size, const QByteArray& fields) {
    return "{\"name\":\"" + name + "\",\"mediaName\":\"" + name + "\",\"size\":\"" + size +
           "\",\"scheme\":\"MBR\",\"partitions\":[{\"fs\":\"FAT32\",\"name\":\"" + name.toUpper() + "\"}]" +
           fields + "}";
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
    for (const VolumeObjRef& v : list) {
        if (v->volumeName() == name)
            return v;
    }
    return VolumeObjRef();
}

} // namespace VolumesTestKit
