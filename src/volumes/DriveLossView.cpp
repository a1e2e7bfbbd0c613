#include "volumes/DriveLossView.h"

#include "ui/ElidedLabel.h"
#include "ui/KitStyle.h"

#include <QVBoxLayout>

DriveLossView::DriveLossView(QWidget* parent) : QWidget(parent), m_column(new QVBoxLayout(this)) {
    setObjectName(QStringLiteral("driveLoss"));
    m_column->setContentsMargins(0, 0, 0, 0);
    m_column->setSpacing(2);
}

ElidedLabel* DriveLossView::addLine(const QString& text, bool emphasis) {
    auto* label = new ElidedLabel(this);
    label->setFont(KitStyle::font(12, emphasis));
    label->setStyleSheet(QStringLiteral("color: %1; background: transparent;")
                             .arg(KitStyle::css(emphasis ? KitStyle::error() : KitStyle::textPrimary())));
    label->setFullText(text);
    m_column->addWidget(label);
    m_lines << label;
    return label;
}

void DriveLossView::setLoss(const QString& device, const DriveIdentity& drive,
                            const QList<DriveVolume>& destroyed) {
    qDeleteAll(m_lines);
    m_lines.clear();
    addLine(device, false);
    addLine(drive.summary(), false);
    if (destroyed.isEmpty())
        addLine(QStringLiteral("\u2022 ") + DriveIdentity::volumesText(destroyed), false);
    for (const DriveVolume& volume : destroyed)
        addLine(QStringLiteral("\u2022 ") + DriveIdentity::volumeUse(volume), false);
    const QString erased = DriveIdentity::dataErased(destroyed);
    if (!erased.isNull())
        addLine(erased + QLatin1Char('.'), true);
}

QStringList DriveLossView::lines() const {
    QStringList texts;
    for (const ElidedLabel* label : m_lines)
        texts << label->fullText();
    return texts;
}
