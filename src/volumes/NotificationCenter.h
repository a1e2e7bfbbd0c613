#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>

// The application's notification centre: anything may post a named notification with an object
// and a user-info dictionary, and any number of observers receive it on the main thread.
// Widget-free; the mount watcher posts through it and the Disk Manager observes it.
class NotificationCenter : public QObject {
    Q_OBJECT
public:
    // The application's centre, created on first use; it lives on the main thread.
    static NotificationCenter* defaultCenter();

    // Delivers to every observer of `name` on the main thread: at once when posted there,
    // otherwise through the main event loop, in posting order.
    void postNotificationName(const QString& name, QObject* object, const QVariantMap& userInfo = {});

    // Calls `handler` for every notification called `name` (every one when `name` is empty),
    // while `context` lives. The handler runs on the main thread. Disconnect the answer to stop
    // early.
    QMetaObject::Connection addObserver(
        QObject* context, const QString& name,
        std::function<void(const QString& name, QObject* object, const QVariantMap& userInfo)> handler);

Q_SIGNALS:
    // Every notification; observers that filter by name themselves may connect here.
    void posted(const QString& name, QObject* object, const QVariantMap& userInfo);

private:
    using QObject::QObject;
};
