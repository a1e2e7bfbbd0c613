#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

class DiskWatcher;

// Names of the notifications posted on NotificationCenter::defaultCenter() when a volume mounts
// or unmounts. The object is the WatchMountUnmount that saw it; the user info carries the
// volume's mount path under "NSDevicePath" and its name under "NSWorkspaceVolumeLocalizedNameKey".
inline constexpr char MCVolumeMountNotification[] = "MCVolumeMount";
inline constexpr char MCVolumeUnmountNotification[] = "MCVolumeUnmount";
inline constexpr char MCVolumePathKey[] = "NSDevicePath";
inline constexpr char MCVolumeNameKey[] = "NSWorkspaceVolumeLocalizedNameKey";

// Re-posts the platform's volume mount and unmount reports under the application's own names,
// for any controller that wants to refresh (the Disk Manager keeps one for its lifetime).
// Create it on the main thread; notifications are posted there.
class WatchMountUnmount : public QObject {
    Q_OBJECT
public:
    explicit WatchMountUnmount(QObject* parent = nullptr);
    ~WatchMountUnmount() override;

    void registerNotifications();
    // The workspace's reports, re-posted as "MCVolumeMount" / "MCVolumeUnmount".
    void mountedVolume(const QVariantMap& userInfo);
    void unmountedVolume(const QVariantMap& userInfo);

    // The user info the workspace gives for a mount path.
    static QVariantMap userInfoForPath(const QString& mountPath);

private:
    DiskWatcher* m_workspace = nullptr; // owned as a child
};
