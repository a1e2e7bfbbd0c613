#include "volumes/WatchMountUnmount.h"

#include "platform/DiskArbitration.h"
#include "volumes/NotificationCenter.h"

#include <QFileInfo>

WatchMountUnmount::WatchMountUnmount(QObject* parent) : QObject(parent), m_workspace(new DiskWatcher(this)) {
    registerNotifications();
}

WatchMountUnmount::~WatchMountUnmount() = default;

void WatchMountUnmount::registerNotifications() {
    connect(m_workspace, &DiskWatcher::volumeMounted, this,
            [this](const QString& path) { mountedVolume(userInfoForPath(path)); });
    connect(m_workspace, &DiskWatcher::volumeUnmounted, this,
            [this](const QString& path) { unmountedVolume(userInfoForPath(path)); });
}

void WatchMountUnmount::mountedVolume(const QVariantMap& userInfo) {
    NotificationCenter::defaultCenter()->postNotificationName(QString::fromLatin1(MCVolumeMountNotification),
                                                              this, userInfo);
}

void WatchMountUnmount::unmountedVolume(const QVariantMap& userInfo) {
    NotificationCenter::defaultCenter()->postNotificationName(
        QString::fromLatin1(MCVolumeUnmountNotification), this, userInfo);
}

QVariantMap WatchMountUnmount::userInfoForPath(const QString& mountPath) {
    QVariantMap info;
    info.insert(QString::fromLatin1(MCVolumePathKey), mountPath);
    info.insert(QString::fromLatin1(MCVolumeNameKey),
                mountPath == QLatin1String("/") ? mountPath : QFileInfo(mountPath).fileName());
    return info;
}
