#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QRectF>
#include <QSize>
#include <QString>

class QPainter;

// The program's pictures: SVG files under the resources' images folder, looked up by their
// bare name ("top", "ic_usb_sel"). Vector artwork is drawn at the screen's pixel density, so
// it stays sharp on HiDPI screens. Renderers are kept once loaded (main thread only).
namespace Artwork {

// True when an image of that name exists.
bool exists(const QString& name);
// The size the artwork was drawn at, in points; empty when there is no such image.
QSize naturalSize(const QString& name);
// Draws the image into rect. When keepAspect is set the image is scaled proportionally and
// centred in rect. tint, when valid, recolours every opaque pixel (the alpha is kept).
void paint(QPainter& painter, const QString& name, const QRectF& rect, bool keepAspect = true,
           const QColor& tint = QColor());
// The image rendered at a logical size for a given device pixel ratio.
QPixmap pixmap(const QString& name, const QSize& size, qreal devicePixelRatio = 2.0,
               const QColor& tint = QColor());
// An icon with the image at 1x and 2x of size.
QIcon icon(const QString& name, const QSize& size);

} // namespace Artwork
