#include "ui/ImageView.h"

#include "ui/Artwork.h"

#include <QPainter>

ImageView::ImageView(const QString& imageName, QWidget* parent) : QWidget(parent), m_imageName(imageName) {
    setAttribute(Qt::WA_TranslucentBackground);
}

void ImageView::setImageName(const QString& name) {
    if (name == m_imageName)
        return;
    m_imageName = name;
    updateGeometry();
    update();
}

void ImageView::setKeepAspect(bool keep) {
    m_keepAspect = keep;
    update();
}

void ImageView::setTint(const QColor& tint) {
    m_tint = tint;
    update();
}

void ImageView::setOpacity(qreal opacity) {
    m_opacity = opacity;
    update();
}

QSize ImageView::sizeHint() const {
    const QSize natural = Artwork::naturalSize(m_imageName);
    return natural.isEmpty() ? QSize(16, 16) : natural;
}

void ImageView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setOpacity(m_opacity);
    Artwork::paint(painter, m_imageName, rect(), m_keepAspect, m_tint);
}
