#include "core/ServiceAddress.h"

#include "core/ConsoleLog.h"

#include <QUrl>

namespace {

// The origin from the development setting, or an invalid address when it is unset or unusable.
QUrl testOrigin() {
    const QString setting = qEnvironmentVariable("TAVRILL_SERVICE_ORIGIN");
    if (setting.isEmpty())
        return QUrl();
    const QUrl origin(setting, QUrl::StrictMode);
    const QString host = origin.host();
    const bool loopback = host == QLatin1String("127.0.0.1") || host == QLatin1String("::1") ||
                          host == QLatin1String("localhost");
    const QString path = origin.path();
    if (!origin.isValid() || origin.scheme() != QLatin1String("http") || !loopback ||
        !origin.userInfo().isEmpty() || origin.hasQuery() || origin.hasFragment() ||
        !(path.isEmpty() || path == QLatin1String("/"))) {
        QvConsoleLog("TAVRILL_SERVICE_ORIGIN ignored: only http://<loopback address>[:port] is accepted");
        return QUrl();
    }
    return origin;
}

} // namespace

QString serviceAddress(const QString& url) {
    const QUrl origin = testOrigin();
    if (!origin.isValid() || url.isEmpty())
        return url;
    QUrl address(url);
    if (!address.isValid() || address.host().isEmpty())
        return url;
    address.setScheme(origin.scheme());
    address.setHost(origin.host());
    address.setPort(origin.port());
    address.setUserInfo(QString());
    return address.toString();
}
