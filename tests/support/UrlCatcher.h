#pragma once

#include <QList>
#include <QObject>
#include <QUrl>

// Takes the addresses the program asks the desktop to open, in place of a browser:
// QDesktopServices::setUrlHandler(scheme, &catcher, "openUrl").
class UrlCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public Q_SLOTS:
    void openUrl(const QUrl& url) { opened << url; }
};
