#include "volumes/DiskListViewController.h"

#include "core/QvPublicUtilities.h"
#include "ui/ElidedLabel.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "volumes/DiskUsageBarView.h"
#include "volumes/VolumeIcon.h"

#include <QApplication>
#include <QLabel>

namespace {

// Row layout in points, from the top left of the 392 x 92 row.
constexpr int kIconLeft = 18;
constexpr int kIconSize = 40;
constexpr int kTextLeft = 76;
constexpr int kTextWidth = DiskListViewController::kWidth - kTextLeft - 16;
constexpr int kBarWidth = 240;
constexpr int kBarHeight = 4;
constexpr int kBarTop = 30;

QLabel* makeLabel(QWidget* parent, const QColor& color, double pointSize, bool bold) {
    auto* label = KitStyle::label(QString(), pointSize, bold, color, parent);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    return label;
}

ElidedLabel* makeElidedLabel(QWidget* parent, const QColor& color, double pointSize, bool bold) {
    auto* label = new ElidedLabel(parent);
    label->setFont(KitStyle::font(pointSize, bold));
    label->setStyleSheet(QStringLiteral("color: %1; background: transparent;").arg(KitStyle::css(color)));
    return label;
}

} // namespace

DiskListViewController::DiskListViewController(QWidget* parent)
    : QWidget(parent), m_aView(new DiskListView(this)),
      m_diskIconImageView(new ImageView(QString(), m_aView)),
      m_nameLabel(makeElidedLabel(m_aView, KitStyle::textPrimary(), 13, true)),
      m_sizeLabel(makeElidedLabel(m_aView, KitStyle::textSecondary(), 11, false)),
      m_diskInfoLabel(makeLabel(m_aView, KitStyle::textSecondary(), 11, false)),
      m_driveLabel(makeElidedLabel(m_aView, KitStyle::textSecondary(), 11, false)),
      m_volumesLabel(makeElidedLabel(m_aView, KitStyle::heading(), 11, false)) {
    setFixedSize(kWidth, kHeight);
    m_aView->setGeometry(0, 0, kWidth, kHeight);
    m_aView->setDiskViewDelegate(this);
    m_diskIconImageView->setGeometry(kIconLeft, (kHeight - kIconSize) / 2, kIconSize, kIconSize);
    m_diskIconImageView->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_nameLabel->setWholeTextTip(true);
    // Name and file-system type share the line above the bar; the sizes go below it, then the
    // drive and its volumes.
    m_nameLabel->setGeometry(kTextLeft, kBarTop - 22, kTextWidth, 18);
    m_diskInfoLabel->setGeometry(kTextLeft, kBarTop - 21, kTextWidth, 16);
    m_diskInfoLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_sizeLabel->setGeometry(kTextLeft, kBarTop + kBarHeight + 3, kTextWidth, 15);
    m_driveLabel->setGeometry(kTextLeft, kBarTop + kBarHeight + 19, kTextWidth, 15);
    m_volumesLabel->setGeometry(kTextLeft, kBarTop + kBarHeight + 35, kTextWidth, 15);
}

double DiskListViewController::usagePercent(std::int64_t totalBytes, std::int64_t freeBytes) {
    if (totalBytes <= 0)
        return 0;
    // Whole per cent of free space, truncated; the bar shows the rest.
    const std::int64_t freePercent = (freeBytes * 100) / totalBytes;
    return freePercent <= 100 ? double(100 - freePercent) : 100.0;
}

void DiskListViewController::refreshaView() {
    if (!m_volumeObj)
        return;
    const VolumeObj& v = *m_volumeObj;
    m_diskIconImageView->setImageName(volumeIconName(v, m_aView->mouseIn()));

    m_diskInfoLabel->setText(v.volumeType());
    const int typeWidth = m_diskInfoLabel->fontMetrics().horizontalAdvance(v.volumeType().trimmed());
    if (m_isOnlyShowEx) {
        // The whole-disk list names a drive by its model, in the menu font.
        QFont menuFont = QApplication::font("QMenu");
        menuFont.setPointSizeF(12);
        menuFont.setBold(true);
        m_nameLabel->setFont(menuFont);
    }
    m_nameLabel->resize(typeWidth > 0 ? kTextWidth - typeWidth - 10 : kTextWidth, m_nameLabel->height());
    m_nameLabel->setFullText(v.volumeName());

    if (m_isOnlyShowEx) {
        m_sizeLabel->setFullText(v.volumeTotalSize());
    } else {
        const QString used =
            QvPublicUtilities::longlongDiskSize(v.volumeTotalSizeNum() - v.volumeFreeSizeNum());
        m_sizeLabel->setFullText(QStringLiteral("%1/%2").arg(used, v.volumeTotalSize()));
    }
    const DriveIdentity& drive = v.drive();
    m_driveLabel->setFullText(drive.isKnown() ? drive.summary() : QString());
    m_volumesLabel->setFullText(drive.isKnown() ? DriveIdentity::volumesText(drive.volumes) : QString());
    m_aView->setAccessibleName(tr("Choose %1").arg(v.volumeName()));
    m_aView->setAccessibleDescription(m_sizeLabel->fullText());
    creatDiskSizeProgress();
}

void DiskListViewController::creatDiskSizeProgress() {
    if (!m_usageBar) {
        m_usageBar = new DiskUsageBarView(m_aView);
        m_usageBar->setGeometry(kTextLeft, kBarTop, kBarWidth, kBarHeight);
        m_usageBar->show();
    }
    m_usageBar->setValue(usagePercent(m_volumeObj->volumeTotalSizeNum(), m_volumeObj->volumeFreeSizeNum()));
    // A whole disk about to be erased shows no fill worth reading.
    if (m_isOnlyShowEx)
        m_usageBar->setValue(0.1);
}

void DiskListViewController::mouseInView() {
    if (m_volumeObj)
        m_diskIconImageView->setImageName(volumeIconName(*m_volumeObj, true));
}

void DiskListViewController::mouseOutView() {
    if (m_volumeObj)
        m_diskIconImageView->setImageName(volumeIconName(*m_volumeObj, false));
}

void DiskListViewController::doSelectDisk() {
    if (diskListVCDelegate && m_volumeObj)
        diskListVCDelegate->doSelectDiskWithVolume(m_volumeObj);
}
