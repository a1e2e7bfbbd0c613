#include "ui/Artwork.h"

#include "core/Resources.h"

#include <QHash>
#include <QPainter>
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
    if (!tint.isValid()) {
        r->render(&painter, target);
        return;
    }
    // Tinting needs an offscreen layer: draw the shape, then fill it with the colour.
    const qreal dpr = painter.device() ? painter.device()->devicePixelRatioF() : 1.0;
    painter.drawPixmap(target.topLeft(), pixmap(name, target.size().toSize(), dpr, tint));
}

QPixmap pixmap(const QString& name, const QSize& size, qreal devicePixelRatio, const QColor& tint) {
    const QSize pixels = (QSizeF(size) * devicePixelRatio).toSize();
    QPixmap result(pixels.isEmpty() ? QSize(1, 1) : pixels);
    result.fill(Qt::transparent);
    result.setDevicePixelRatio(devicePixelRatio);
    QSvgRenderer* r = name.isEmpty() ? nullptr : renderer(name);
    if (!r || size.isEmpty())
        return result;
    QPainter painter(&result);
    painter.setRenderHint(QPainter::Antialiasing);
    r->render(&painter, fitted(r->defaultSize(), QRectF(QPointF(0, 0), QSizeF(size))));
    if (tint.isValid()) {
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(QRectF(QPointF(0, 0), QSizeF(size)), tint);
    }
    return result;
}

QIcon icon(const QString& name, const QSize& size) {
    QIcon result;
    result.addPixmap(pixmap(name, size, 1.0));
    result.addPixmap(pixmap(name, size, 2.0));
    return result;
}

} // namespace Artwork
