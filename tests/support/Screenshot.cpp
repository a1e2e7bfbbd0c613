#include "Screenshot.h"

#include "LabelFit.h"

#include <QApplication>
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
    const bool saved =
        widget->grab().save(screenshotFolder(folder) + QLatin1Char('/') + name + QStringLiteral(".png"));
    // Every visible window of the application counts (attached windows and popovers too).
    QStringList cut;
    for (const QWidget* window : QApplication::topLevelWidgets())
        cut << labelsCutWithoutEllipsis(window);
    if (!cut.isEmpty()) {
        const QByteArray message = (QStringLiteral("labels cut without \u2026 in \"%1\": ").arg(name) +
                                    cut.join(QStringLiteral("; ")))
                                       .toUtf8();
        QTest::qFail(message.constData(), __FILE__, __LINE__);
    }
    return saved;
}
