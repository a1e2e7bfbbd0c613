#include "ui/SelectValueView.h"

#include "ui/DragView.h"
#include "ui/ElidedLabel.h"
#include "ui/ImageButton.h"
#include "ui/KitStyle.h"
#include "ui/SelectValueViewDelegate.h"

#include <QLabel>
#include <QPainter>

namespace {

constexpr int kPicture = 84;
constexpr int kClose = 18;
constexpr qreal kRadius = 12;

QLabel* makeLabel(QWidget* parent, const QString& name, double pointSize, bool bold, const QColor& color) {
    auto* label = KitStyle::label(QString(), pointSize, bold, color, parent);
    label->setObjectName(name);
    label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    // Clicks and drops on the texts belong to the slot.
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    return label;
}

ElidedLabel* makeElidedLabel(QWidget* parent, const QString& name, double pointSize, bool bold,
                             const QColor& color) {
    auto* label = new ElidedLabel(parent);
    label->setObjectName(name);
    label->setFont(KitStyle::font(pointSize, bold));
    label->setStyleSheet(QStringLiteral("color: %1; background: transparent;").arg(KitStyle::css(color)));
    label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    return label;
}

} // namespace

SelectValueView::SelectValueView(int diskFrom, QWidget* parent)
    : QWidget(parent), m_dragVie(new DragView(this)),
      m_selectDiskBut(new ImageButton(QStringLiteral("add"), m_dragVie)),
      m_closeDisk(new ImageButton(QString(), m_dragVie)),
      m_nameLabel(makeElidedLabel(m_dragVie, QStringLiteral("nameLabel"), 14, true, KitStyle::textPrimary())),
      m_sizeLabel(makeLabel(m_dragVie, QStringLiteral("sizeLabel"), 12, false, KitStyle::textSecondary())),
      m_nodeSelectLabel(
          makeLabel(m_dragVie, QStringLiteral("nodeSelectLabel"), 12, false, KitStyle::heading())),
      m_diskFrom(diskFrom) {
    setAttribute(Qt::WA_Hover);
    m_dragVie->setDelegate(this);
    m_sizeLabel->setTextFormat(Qt::PlainText);
    m_nodeSelectLabel->setTextFormat(Qt::PlainText);
    m_nodeSelectLabel->setWordWrap(true);
    m_selectDiskBut->setObjectName(QStringLiteral("selectDiskBut"));
    m_selectDiskBut->setFocusPolicy(Qt::TabFocus);
    m_selectDiskBut->setAccessibleName(diskFrom == 1 ? tr("Choose the source")
                                                     : tr("Choose the destination"));
    m_dragVie->setAccessibleName(tr("Drop files here"));
    m_closeDisk->setObjectName(QStringLiteral("closeDisk"));
    m_closeDisk->setImages(QStringLiteral("btn_remove"), QStringLiteral("btn_remove_hover"),
                           QStringLiteral("btn_remove_press"));
    m_closeDisk->setFocusPolicy(Qt::TabFocus);
    m_closeDisk->setAccessibleName(diskFrom == 1 ? tr("Remove the source") : tr("Remove the destination"));
    m_closeDisk->setToolTip(tr("Remove"));
    m_closeDisk->hide();
    connect(m_selectDiskBut, &QAbstractButton::clicked, this,
            [this] { selectFileButtonAction(m_selectDiskBut); });
    connect(m_closeDisk, &QAbstractButton::clicked, this, &SelectValueView::closeClicked);
    connect(m_dragVie, &DragView::dragHoverChanged, this, [this] { update(); });
    layoutChildren();
}

void SelectValueView::setChooseName(const QString& name) {
    m_selectDiskBut->setAccessibleName(name);
}

void SelectValueView::setIsCanSelect(bool canSelect) {
    m_canSelect = canSelect;
    setCursor(canSelect ? Qt::PointingHandCursor : Qt::ArrowCursor);
    m_dragVie->setCursor(canSelect ? Qt::PointingHandCursor : Qt::ArrowCursor);
    m_selectDiskBut->setCursor(canSelect ? Qt::PointingHandCursor : Qt::ArrowCursor);
    // A slot that cannot choose is a picture: neither Tab nor a screen reader offers it as a button.
    m_selectDiskBut->setFocusPolicy(canSelect ? Qt::TabFocus : Qt::NoFocus);
    m_selectDiskBut->setAttribute(Qt::WA_TransparentForMouseEvents, !canSelect);
    m_closeDisk->setFocusPolicy(canSelect ? Qt::TabFocus : Qt::NoFocus);
    m_closeDisk->setAttribute(Qt::WA_TransparentForMouseEvents, !canSelect);
    updateDropTarget();
    update();
}

void SelectValueView::setIsHaveD(bool haveD) {
    m_haveD = haveD;
    update();
}

void SelectValueView::setAcceptsFileDrops(bool accepts) {
    m_acceptsDrops = accepts;
    updateDropTarget();
}

void SelectValueView::updateDropTarget() {
    m_dragVie->setAcceptDrops(m_canSelect && m_acceptsDrops);
}

void SelectValueView::setImage(const QString& name) {
    m_selectDiskBut->setImages(name);
}

QString SelectValueView::imageName() const {
    return m_selectDiskBut->normalImage();
}

QLabel* SelectValueView::nameLabel() const {
    return m_nameLabel;
}

void SelectValueView::setName(const QString& text) {
    m_nameLabel->setFullText(text);
    layoutChildren();
}

void SelectValueView::setSizeText(const QString& text) {
    m_sizeLabel->setText(text);
    layoutChildren();
}

void SelectValueView::setHint(const QString& text) {
    m_nodeSelectLabel->setText(text);
    layoutChildren();
}

void SelectValueView::setDetailLines(const QStringList& lines) {
    while (m_detailLabels.size() > lines.size())
        delete m_detailLabels.takeLast();
    while (m_detailLabels.size() < lines.size()) {
        auto* label =
            makeElidedLabel(m_dragVie, QStringLiteral("detailLabel"), 11, false, KitStyle::heading());
        label->show();
        m_detailLabels << label;
    }
    for (qsizetype i = 0; i < lines.size(); ++i)
        m_detailLabels[i]->setFullText(lines[i]);
    layoutChildren();
}

void SelectValueView::setCloseShown(bool shown) {
    m_closeDisk->setVisible(shown);
}

void SelectValueView::setErrorBackground(bool error) {
    m_error = error;
    update();
}

void SelectValueView::showEmpty(const QString& hint) {
    setName(QString());
    setSizeText(QString());
    setDetailLines({});
    setHint(hint);
    setImage(QStringLiteral("add"));
    setCloseShown(false);
    setIsHaveD(false);
    setErrorBackground(false);
}

QSize SelectValueView::sizeHint() const {
    return QSize(240, 210);
}

void SelectValueView::viewDragAction(const QStringList& paths) {
    if (!m_canSelect || !m_acceptsDrops || paths.isEmpty())
        return;
    if (m_delegate)
        m_delegate->viewDragAction(paths);
}

void SelectValueView::selectFileButtonAction(QObject* sender) {
    if (!m_canSelect)
        return;
    if (m_delegate)
        m_delegate->selectDiskButton(m_diskFrom, sender);
}

void SelectValueView::closeClicked() {
    if (!m_canSelect)
        return;
    if (m_delegate)
        m_delegate->closeDiskValue(m_diskFrom);
}

void SelectValueView::resizeEvent(QResizeEvent*) {
    layoutChildren();
}

void SelectValueView::layoutChildren() {
    m_dragVie->setGeometry(rect());
    const int w = width();
    m_closeDisk->setGeometry(w - kClose - 10, 10, kClose, kClose);
    int y = 22;
    m_selectDiskBut->setGeometry((w - kPicture) / 2, y, kPicture, kPicture);
    y += kPicture + 12;
    const int textWidth = qMax(0, w - 24);
    QList<QLabel*> lines{m_nameLabel, m_sizeLabel};
    for (ElidedLabel* detail : m_detailLabels)
        lines << detail;
    lines << m_nodeSelectLabel;
    for (QLabel* label : lines) {
        const auto* elided = qobject_cast<ElidedLabel*>(label);
        const QString shown = elided ? elided->fullText() : label->text();
        if (shown.isEmpty()) {
            label->setGeometry(12, y, textWidth, 0);
            continue;
        }
        const int h =
            label->wordWrap() ? label->heightForWidth(textWidth) : label->fontMetrics().height() + 2;
        label->setGeometry(12, y, textWidth, h);
        y += h + (label == m_nameLabel || label == m_sizeLabel ? 4 : 1);
    }
}

void SelectValueView::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    update();
    QWidget::enterEvent(event);
}

void SelectValueView::leaveEvent(QEvent* event) {
    m_hovered = false;
    update();
    QWidget::leaveEvent(event);
}

void SelectValueView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF card = QRectF(rect()).adjusted(1, 1, -1, -1);
    QColor fill = KitStyle::panelBackground();
    QColor border = KitStyle::panelBorder();
    Qt::PenStyle style = m_haveD ? Qt::SolidLine : Qt::DashLine;
    if (m_error) {
        fill = KitStyle::errorTint();
        border = KitStyle::error();
        style = Qt::SolidLine;
    } else if (m_dragVie->isDragHovering()) {
        border = KitStyle::accent();
        fill = fill.lighter(112);
        style = Qt::SolidLine;
    } else if (m_hovered && m_canSelect) {
        border = border.lighter(140);
        fill = fill.lighter(106);
    }
    painter.setBrush(fill);
    QPen pen(border, m_error || m_dragVie->isDragHovering() ? 2 : 1.5, style);
    pen.setDashPattern({5, 4});
    if (style == Qt::SolidLine)
        pen.setStyle(Qt::SolidLine);
    painter.setPen(pen);
    painter.drawRoundedRect(card, kRadius, kRadius);
}
