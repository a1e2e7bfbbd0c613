#include "ui/PanelShadow.h"

#include "ui/KitStyle.h"

#include <QEvent>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <vector>

namespace {

// One pass of a box blur over an alpha plane, along rows (step 1) or columns (step width).
void boxBlur(std::vector<int>& alpha, int width, int height, int radius, bool alongRows) {
    const int lines = alongRows ? height : width;
    const int length = alongRows ? width : height;
    const int step = alongRows ? 1 : width;
    std::vector<int> line(static_cast<size_t>(length));
    const int span = 2 * radius + 1;
    for (int l = 0; l < lines; ++l) {
        int* first = alpha.data() + (alongRows ? l * width : l);
        for (int i = 0; i < length; ++i)
            line[size_t(i)] = first[i * step];
        int sum = 0;
        for (int i = -radius; i <= radius; ++i)
            sum += (i >= 0 && i < length) ? line[size_t(i)] : 0;
        for (int i = 0; i < length; ++i) {
            first[i * step] = sum / span;
            const int out = i - radius;
            const int in = i + radius + 1;
            sum -= (out >= 0) ? line[size_t(out)] : 0;
            sum += (in < length) ? line[size_t(in)] : 0;
        }
    }
}

} // namespace

PanelShadow::PanelShadow(QWidget* panel) : QWidget(panel->parentWidget()), m_panel(panel) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    panel->installEventFilter(this);
    connect(panel, &QObject::destroyed, this, &QObject::deleteLater);
    follow();
}

void PanelShadow::follow() {
    if (!m_panel)
        return;
    setGeometry(m_panel->geometry().adjusted(-kSpread, -kSpread + kDrop, kSpread, kSpread + kDrop));
    setVisible(m_panel->isVisibleTo(parentWidget()));
    stackUnder(m_panel);
}

bool PanelShadow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_panel) {
        switch (event->type()) {
        case QEvent::Show:
        case QEvent::Move:
        case QEvent::Resize:
            // The outline may have changed with it (a popover's arrow turns to another side):
            // made again from the event loop, not from inside a paint.
            follow();
            if (!m_remake) {
                m_remake = true;
                QTimer::singleShot(0, this, &PanelShadow::makeShadow);
            }
            break;
        case QEvent::Hide:
        case QEvent::ZOrderChange:
            follow();
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void PanelShadow::makeShadow() {
    m_remake = false;
    m_shadow = QImage();
    if (!m_panel || m_panel->size().isEmpty())
        return;
    // The panel's own outline (its background, without the content), as its alpha, blurred at a
    // quarter of the size: three box passes come close to a Gaussian, and a blur loses nothing
    // when it is scaled up.
    QImage outline(size(), QImage::Format_ARGB32_Premultiplied);
    outline.fill(Qt::transparent);
    m_panel->render(&outline, QPoint(kSpread, kSpread - kDrop), QRegion(),
                    QWidget::DrawWindowBackground | QWidget::IgnoreMask);
    const QImage small = outline.scaled(std::max(1, width() / kScale), std::max(1, height() / kScale),
                                        Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const int w = small.width();
    const int h = small.height();
    std::vector<int> alpha(size_t(w) * size_t(h));
    for (int y = 0; y < h; ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(small.constScanLine(y));
        for (int x = 0; x < w; ++x)
            alpha[size_t(y) * size_t(w) + size_t(x)] = qAlpha(row[x]);
    }
    for (int pass = 0; pass < 3; ++pass) {
        boxBlur(alpha, w, h, kSpread / 6 / kScale, true);
        boxBlur(alpha, w, h, kSpread / 6 / kScale, false);
    }
    const QColor colour = KitStyle::panelShadow();
    QImage blurred(w, h, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < h; ++y) {
        auto* row = reinterpret_cast<QRgb*>(blurred.scanLine(y));
        for (int x = 0; x < w; ++x) {
            const int a = alpha[size_t(y) * size_t(w) + size_t(x)] * colour.alpha() / 255;
            row[x] = qPremultiply(qRgba(colour.red(), colour.green(), colour.blue(), a));
        }
    }
    m_shadow = blurred.scaled(size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    update();
}

void PanelShadow::paintEvent(QPaintEvent*) {
    if (m_shadow.isNull())
        return;
    QPainter painter(this);
    painter.drawImage(0, 0, m_shadow);
}
