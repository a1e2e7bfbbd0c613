#include "Screenshot.h"

#include <QDir>
#include <QPixmap>
#include <QTest>
#include <QWidget>

QString screenshotFolder(const QString& folder) {
    const QString path = qEnvironmentVariable("TAVRILL_BINARY_DIR", QStringLiteral(TAVRILL_BINARY_DIR)) +
                         QStringLiteral("/screenshots/") + folder;
    QDir().mkpath(path);
    return path;
}

bool saveScreenshot(QWidget* widget, const QString& folder, const QString& name) {
    QTest::qWait(50);
    return widget->grab().save(screenshotFolder(folder) + QLatin1Char('/') + name + QStringLiteral(".png"));
}
