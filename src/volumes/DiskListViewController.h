#pragma once

#include "volumes/DiskListView.h"
#include "volumes/VolumeObj.h"

#include <QWidget>

#include <cstdint>

class DiskUsageBarView;
class ElidedLabel;
class ImageView;
class QLabel;

// What a drive row asks of the picker that shows it. Optional.
class DiskListVCDelegate {
public:
    virtual ~DiskListVCDelegate() = default;
    virtual void doSelectDiskWithVolume(const VolumeObjRef& volume) { Q_UNUSED(volume); }
};

// One row of the drive picker, 392 x 92 points: the drive's icon, name, used and total size,
// file-system type and a bar of how full it is, then which drive it is (model, bus, capacity,
// "start-up disk") and the volumes on that drive with their used space, so that two drives of
// the same kind cannot be taken for each other. Names that do not fit are shortened in the
// middle and shown whole in their tool tips. A click hands the record to the picker.
class DiskListViewController : public QWidget, public DiskListViewDelegate {
    Q_OBJECT
public:
    static constexpr int kWidth = 392;
    static constexpr int kHeight = 92;

    explicit DiskListViewController(QWidget* parent = nullptr);

    const VolumeObjRef& volumeObj() const { return m_volumeObj; }
    void setVolumeObj(const VolumeObjRef& volume) { m_volumeObj = volume; }
    bool isOnlyShowEx() const { return m_isOnlyShowEx; }
    void setIsOnlyShowEx(bool onlyShowEx) { m_isOnlyShowEx = onlyShowEx; }
    void setDiskListVCDelegate(DiskListVCDelegate* delegate) { diskListVCDelegate = delegate; }

    // Fills the row from its record and adds the usage bar.
    void refreshaView();
    void creatDiskSizeProgress();

    // DiskListViewDelegate
    void mouseInView() override;
    void mouseOutView() override;
    void doSelectDisk() override;

    DiskListView* aView() const { return m_aView; }
    ImageView* diskIconImageView() const { return m_diskIconImageView; }
    ElidedLabel* nameLabel() const { return m_nameLabel; }
    ElidedLabel* sizeLabel() const { return m_sizeLabel; }
    QLabel* diskInfoLabel() const { return m_diskInfoLabel; }
    ElidedLabel* driveLabel() const { return m_driveLabel; }
    ElidedLabel* volumesLabel() const { return m_volumesLabel; }
    DiskUsageBarView* usageBar() const { return m_usageBar; }

    // How full the bar shows a drive, 0..100; total 0 shows an empty bar.
    static double usagePercent(std::int64_t totalBytes, std::int64_t freeBytes);

private:
    VolumeObjRef m_volumeObj;
    bool m_isOnlyShowEx = false;
    DiskListVCDelegate* diskListVCDelegate = nullptr; // not owned
    DiskListView* m_aView;
    ImageView* m_diskIconImageView;
    ElidedLabel* m_nameLabel;
    ElidedLabel* m_sizeLabel;
    QLabel* m_diskInfoLabel;
    ElidedLabel* m_driveLabel;
    ElidedLabel* m_volumesLabel;
    DiskUsageBarView* m_usageBar = nullptr;
};
