#include "diskmanager/FormatTypeViewController.h"

#include "diskmanager/DiskManagerTexts.h"
#include "diskmanager/FormatTypeDelegate.h"
#include "ui/KitStyle.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QVBoxLayout>

namespace {

const char kTagProperty[] = "formatTypeTag";

QColor rowText(bool lit) {
    return lit ? KitStyle::textLit() : KitStyle::heading();
}

} // namespace

FormatTypeViewController::FormatTypeViewController(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedWidth(200);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(6, 6, 6, 6);
    column->setSpacing(0);
    QWidget** views[] = {&view_1, &view_2, &view_4};
    QLabel** labels[] = {&label_1, &label_2, &label_3};
    for (int tag = 0; tag < DiskManagerTexts::kFormatTypeCount; ++tag) {
        auto* row = new QWidget(this);
        row->setObjectName(QStringLiteral("formatType%1").arg(tag));
        row->setProperty(kTagProperty, tag);
        row->setAttribute(Qt::WA_Hover);
        row->setCursor(Qt::PointingHandCursor);
        row->setFixedHeight(30);
        row->installEventFilter(this);
        auto* label = new QLabel(DiskManagerTexts::formatType(tag), row);
        label->setFont(KitStyle::font(13));
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(12, 0, 12, 0);
        layout->addWidget(label);
        column->addWidget(row);
        *views[tag] = row;
        *labels[tag] = label;
        mouseInView(false, tag);
    }
}

QWidget* FormatTypeViewController::rowWithTag(int tag) const {
    switch (tag) {
    case 0:
        return view_1;
    case 1:
        return view_2;
    case 2:
        return view_4;
    default:
        return nullptr;
    }
}

QLabel* FormatTypeViewController::labelWithTag(int tag) const {
    switch (tag) {
    case 0:
        return label_1;
    case 1:
        return label_2;
    case 2:
        return label_3;
    default:
        return nullptr;
    }
}

void FormatTypeViewController::selectSortType(int tag) {
    if (m_delegate)
        m_delegate->selectFormatbyType(tag);
}

void FormatTypeViewController::mouseInView(bool inside, int tag) {
    QLabel* label = labelWithTag(tag);
    QWidget* row = rowWithTag(tag);
    if (!label || !row)
        return;
    label->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(rowText(inside))));
    row->setStyleSheet(
        inside
            ? QStringLiteral("background: %1; border-radius: 5px;").arg(KitStyle::css(KitStyle::rowHover()))
            : QString());
    row->setAttribute(Qt::WA_StyledBackground, inside);
}

void FormatTypeViewController::closeWindow() {
    if (m_superDelegate)
        m_superDelegate->close();
}

bool FormatTypeViewController::eventFilter(QObject* watched, QEvent* event) {
    const QVariant tag = watched->property(kTagProperty);
    if (tag.isValid()) {
        switch (event->type()) {
        case QEvent::Enter:
            mouseInView(true, tag.toInt());
            break;
        case QEvent::Leave:
            mouseInView(false, tag.toInt());
            break;
        case QEvent::MouseButtonRelease:
            if (static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
                selectSortType(tag.toInt());
                return true;
            }
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void FormatTypeViewController::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    closeWindow();
}
