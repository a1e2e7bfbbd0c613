#include "volumes/NotificationCenter.h"

#include "core/MainThread.h"

#include <QCoreApplication>

NotificationCenter* NotificationCenter::defaultCenter() {
    // Made once and kept for the life of the process; it belongs to the main thread so that
    // posts from workers queue there.
    static NotificationCenter* center = [] {
        auto* c = new NotificationCenter;
        if (QCoreApplication* app = QCoreApplication::instance(); app && c->thread() != app->thread())
            c->moveToThread(app->thread());
        return c;
    }();
    return center;
}

void NotificationCenter::postNotificationName(const QString& name, QObject* object,
                                              const QVariantMap& userInfo) {
    if (isMainThread()) {
        Q_EMIT posted(name, object, userInfo);
        return;
    }
    QPointer<QObject> sender(object);
    const bool hadObject = object != nullptr;
    onMain([this, name, sender, hadObject, userInfo] {
        // An object that went away before delivery is reported as none.
        Q_EMIT posted(name, hadObject ? sender.data() : nullptr, userInfo);
    });
}

QMetaObject::Connection NotificationCenter::addObserver(
    QObject* context, const QString& name,
    std::function<void(const QString& name, QObject* object, const QVariantMap& userInfo)> handler) {
    return connect(this, &NotificationCenter::posted, context,
                   [name, handler = std::move(handler)](const QString& posted, QObject* object,
                                                        const QVariantMap& info) {
                       if (name.isEmpty() || posted == name)
                           handler(posted, object, info);
                   });
}
