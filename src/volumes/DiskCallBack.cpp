#include "volumes/DiskCallBack.h"

#include "platform/DiskArbitration.h"

void DiskAppearCallBack(const QString& bsdName, void* context) {
    Q_UNUSED(bsdName);
    Q_UNUSED(context);
}

void DiskDisappearCallBack(const QString& bsdName, void* context) {
    Q_UNUSED(bsdName);
    Q_UNUSED(context);
}

DiskWatcher* getDiskCallBack(QObject* picker) {
    auto* session = new DiskWatcher(picker);
    QObject::connect(session, &DiskWatcher::diskAppeared, session,
                     [picker](const QString& bsdName) { DiskAppearCallBack(bsdName, picker); });
    QObject::connect(session, &DiskWatcher::diskDisappeared, session,
                     [picker](const QString& bsdName) { DiskDisappearCallBack(bsdName, picker); });
    return session;
}
