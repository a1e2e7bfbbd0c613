#include "ui/Popover.h"

#include "ui/KitStyle.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

#include <algorithm>

namespace {

int opposite(int side) {
    return (side + 2) % 4;
}

} // namespace

Popover::Popover(QWidget* hostWindow) : QWidget(hostWindow ? hostWindow->window() : nullptr) {
    if (!parentWidget())
        setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    setFocusPolicy(Qt::StrongFocus);

    KitStyle::addPanelShadow(this);

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(0);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    updateMargins();
    hide();
}

Popover::~Popover() {
    QCoreApplication::instance()->removeEventFilter(this);
}

void Popover::setContent(QWidget* content) {
    if (m_content == content)
        return;
    if (m_content) {
        layout()->removeWidget(m_content);
        m_content->hide();
        m_content->setParent(nullptr);
        m_content->deleteLater();
    }
    m_content = content;
    if (content) {
        layout()->addWidget(content);
        content->show();
    }
    if (m_shown)
        place();
}

void Popover::showRelativeTo(QWidget* anchor, int arrowSide) {
    m_anchor = anchor;
    m_wantedSide = std::clamp(arrowSide, 0, 3);
    m_side = m_wantedSide;
    updateMargins();
    adjustSize();
    place();
    if (!m_shown) {
        m_shown = true;
        QCoreApplication::instance()->installEventFilter(this);
    }
    show();
    raise();
    setFocus(Qt::PopupFocusReason);
}

bool Popover::isShown() const {
    return m_shown;
}

void Popover::closePopover() {
    if (!m_shown)
        return;
    m_shown = false;
    QCoreApplication::instance()->removeEventFilter(this);
    hide();
    Q_EMIT closed();
}

QRect Popover::anchorRect() const {
    if (!m_anchor)
        return QRect();
    QWidget* top = parentWidget();
    const QRect local(QPoint(0, 0), m_anchor->size());
    if (!top)
        return QRect(m_anchor->mapToGlobal(QPoint(0, 0)), local.size());
    if (m_anchor->window() == top)
        return QRect(m_anchor->mapTo(top, QPoint(0, 0)), local.size());
    return QRect(top->mapFromGlobal(m_anchor->mapToGlobal(QPoint(0, 0))), local.size());
}

void Popover::updateMargins() {
    const int pad = 1;
    QMargins m(pad, pad, pad, pad);
    switch (m_side) {
    case 0:
        m.setRight(pad + kArrowDepth);
        break;
    case 1:
        m.setTop(pad + kArrowDepth);
        break;
    case 2:
        m.setLeft(pad + kArrowDepth);
        break;
    default:
        m.setBottom(pad + kArrowDepth);
        break;
    }
    layout()->setContentsMargins(m);
}

void Popover::place() {
    if (m_placing)
        return;
    m_placing = true;
    const QRect a = anchorRect();
    QWidget* top = parentWidget();
    const QSize area = top ? top->size() : QSize();

    // Where the panel goes for a side, before it is kept inside the window.
    auto origin = [&](int side, const QSize& s) {
        switch (side) {
        case 0:
            return QPoint(a.left() - s.width(), a.center().y() - s.height() / 2);
        case 1:
            return QPoint(a.center().x() - s.width() / 2, a.bottom() + 1);
        case 2:
            return QPoint(a.right() + 1, a.center().y() - s.height() / 2);
        default:
            return QPoint(a.center().x() - s.width() / 2, a.top() - s.height());
        }
    };
    auto fits = [&](int side, const QSize& s) {
        if (area.isEmpty())
            return true;
        const QPoint o = origin(side, s);
        if (side == 0 || side == 2)
            return o.x() >= 0 && o.x() + s.width() <= area.width();
        return o.y() >= 0 && o.y() + s.height() <= area.height();
    };

    m_side = m_wantedSide;
    updateMargins();
    adjustSize();
    if (!fits(m_side, size()) && fits(opposite(m_side), size())) {
        m_side = opposite(m_side);
        updateMargins();
        adjustSize();
    }
    QPoint o = origin(m_side, size());
    if (!area.isEmpty()) {
        if (width() <= area.width())
            o.setX(std::clamp(o.x(), 0, area.width() - width()));
        if (height() <= area.height())
            o.setY(std::clamp(o.y(), 0, area.height() - height()));
    }
    move(o);

    // The arrow points at the middle of the anchor, as far as the rounded corners allow.
    const bool horizontalEdge = m_side == 1 || m_side == 3;
    const int along = horizontalEdge ? a.center().x() - o.x() : a.center().y() - o.y();
    const int length = horizontalEdge ? width() : height();
    const int lo = kCornerRadius + kArrowHalfWidth + 1;
    m_arrowOffset = length > 2 * lo ? std::clamp(along, lo, length - lo) : length / 2;
    update();
    m_placing = false;
}

const QPainterPath& Popover::outline() {
    if (m_outlineSize == size() && m_outlineSide == m_side && m_outlineOffset == m_arrowOffset)
        return m_outline;
    QRectF body = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    switch (m_side) {
    case 0:
        body.setRight(body.right() - kArrowDepth);
        break;
    case 1:
        body.setTop(body.top() + kArrowDepth);
        break;
    case 2:
        body.setLeft(body.left() + kArrowDepth);
        break;
    default:
        body.setBottom(body.bottom() - kArrowDepth);
        break;
    }
    QPainterPath path;
    path.addRoundedRect(body, kCornerRadius, kCornerRadius);
    QPolygonF arrow;
    const qreal c = m_arrowOffset;
    const qreal h = kArrowHalfWidth;
    // The base of the arrow reaches a little into the body so that the two join without a seam.
    switch (m_side) {
    case 0:
        arrow << QPointF(body.right() - 1, c - h) << QPointF(width() - 0.5, c)
              << QPointF(body.right() - 1, c + h);
        break;
    case 1:
        arrow << QPointF(c - h, body.top() + 1) << QPointF(c, 0.5) << QPointF(c + h, body.top() + 1);
        break;
    case 2:
        arrow << QPointF(body.left() + 1, c - h) << QPointF(0.5, c) << QPointF(body.left() + 1, c + h);
        break;
    default:
        arrow << QPointF(c - h, body.bottom() - 1) << QPointF(c, height() - 0.5)
              << QPointF(c + h, body.bottom() - 1);
        break;
    }
    QPainterPath arrowPath;
    arrowPath.addPolygon(arrow);
    arrowPath.closeSubpath();
    m_outline = path.united(arrowPath).simplified();
    m_outlineSize = size();
    m_outlineSide = m_side;
    m_outlineOffset = m_arrowOffset;
    return m_outline;
}

void Popover::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(KitStyle::panelBorder(), 1));
    painter.setBrush(KitStyle::panelBackground());
    painter.drawPath(outline());
}

bool Popover::event(QEvent* event) {
    // Read the type first: after a DeferredDelete the object is gone when QWidget::event returns.
    const bool relayout = event->type() == QEvent::LayoutRequest;
    const bool handled = QWidget::event(event);
    if (relayout && m_shown)
        place();
    return handled;
}

bool Popover::eventFilter(QObject* watched, QEvent* event) {
    if (!m_shown)
        return QWidget::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: {
        // Judged by where the press happened: the same press passes the window and then the
        // widget and its parents, and all of them agree on the place.
        const QPoint at = static_cast<QMouseEvent*>(event)->globalPosition().toPoint();
        if (QRect(mapToGlobal(QPoint(0, 0)), size()).contains(at))
            break;
        if (m_anchor && QRect(m_anchor->mapToGlobal(QPoint(0, 0)), m_anchor->size()).contains(at))
            break;
        closePopover();
        break;
    }
    case QEvent::KeyPress: {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Escape) {
            closePopover();
            return true;
        }
        break;
    }
    case QEvent::Resize:
        if (watched == parentWidget())
            place();
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}
