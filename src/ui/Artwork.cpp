#include "ui/Artwork.h"

#include "core/Resources.h"

#include <QHash>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <memory>

namespace {

QSvgRenderer* renderer(const QString& name) {
    static QHash<QString, std::shared_ptr<QSvgRenderer>> cache;
    auto it = cache.find(name);
    if (it == cache.end()) {
        std::shared_ptr<QSvgRenderer> loaded;
        const QString path = resourcePath(QStringLiteral("images/") + name, QStringLiteral("svg"));
        if (!path.isEmpty()) {
            loaded = std::make_shared<QSvgRenderer>(path);
            if (!loaded->isValid())
                loaded.reset();
        }
        it = cache.insert(name, loaded);
    }
    return it->get();
}

QRectF fitted(const QSizeF& natural, const QRectF& rect) {
    if (natural.isEmpty())
        return rect;
    const QSizeF scaled = natural.scaled(rect.size(), Qt::KeepAspectRatio);
    return QRectF(rect.x() + (rect.width() - scaled.width()) / 2,
                  rect.y() + (rect.height() - scaled.height()) / 2, scaled.width(), scaled.height());
}

QPixmap rendered(QSvgRenderer* r, const QSize& size, qreal devicePixelRatio, const QColor& tint,
                 bool keepAspect) {
    const QSize pixels = (QSizeF(size) * devicePixelRatio).toSize();
    QPixmap result(pixels.isEmpty() ? QSize(1, 1) : pixels);
    result.fill(Qt::transparent);
    result.setDevicePixelRatio(devicePixelRatio);
    if (!r || size.isEmpty())
        return result;
    QPainter painter(&result);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF whole(QPointF(0, 0), QSizeF(size));
    r->render(&painter, keepAspect ? fitted(r->defaultSize(), whole) : whole);
    if (tint.isValid()) {
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(whole, tint);
    }
    return result;
}

} // namespace

namespace Artwork {

bool exists(const QString& name) {
    return !name.isEmpty() && renderer(name) != nullptr;
}

QSize naturalSize(const QString& name) {
    QSvgRenderer* r = name.isEmpty() ? nullptr : renderer(name);
    return r ? r->defaultSize() : QSize();
}

void paint(QPainter& painter, const QString& name, const QRectF& rect, bool keepAspect, const QColor& tint) {
    QSvgRenderer* r = name.isEmpty() ? nullptr : renderer(name);
    if (!r || rect.isEmpty())
        return;
    const QRectF target = keepAspect ? fitted(r->defaultSize(), rect) : rect;
    const QSize size = target.size().toSize();
    if (size.isEmpty())
        return;
    // Rendering the drawing takes milliseconds and a window repaints its images often, so each
    // size and colour is rendered once and kept.
    const qreal dpr = painter.device() ? painter.device()->devicePixelRatioF() : 1.0;
    const QString key = QStringLiteral("artwork/%1/%2x%3/%4/%5")
                            .arg(name)
                            .arg(size.width())
                            .arg(size.height())
                            .arg(dpr)
                            .arg(tint.isValid() ? tint.rgba() : 0u, 0, 16);
    QPixmap kept;
    if (!QPixmapCache::find(key, &kept)) {
        // The target already has the drawing's proportions when they are kept.
        kept = rendered(r, size, dpr, tint, false);
        QPixmapCache::insert(key, kept);
    }
    painter.drawPixmap(target.topLeft(), kept);
}

QPixmap pixmap(const QString& name, const QSize& size, qreal devicePixelRatio, const QColor& tint) {
    return rendered(name.isEmpty() ? nullptr : renderer(name), size, devicePixelRatio, tint, true);
}

QIcon icon(const QString& name, const QSize& size) {
    QIcon result;
    result.addPixmap(pixmap(name, size, 1.0));
    result.addPixmap(pixmap(name, size, 2.0));
    return result;
}

} // namespace Artwork
