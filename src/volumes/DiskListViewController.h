#pragma once

#include "volumes/DiskListView.h"
#include "volumes/VolumeObj.h"

#include <QWidget>

#include <cstdint>

class DiskUsageBarView;
class ImageView;
class QLabel;

// What a drive row asks of the picker that shows it. Optional.
class DiskListVCDelegate {
public:
    virtual ~DiskListVCDelegate() = default;
    virtual void doSelectDiskWithVolume(const VolumeObjRef& volume) { Q_UNUSED(volume); }
};

// One row of the drive picker, 392 x 64 points: the drive's icon, name, used and total size,
// file-system type and a bar of how full it is. A click hands the record to the picker.
class DiskListViewController : public QWidget, public DiskListViewDelegate {
    Q_OBJECT
public:
    static constexpr int kWidth = 392;
    static constexpr int kHeight = 64;

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
    QLabel* nameLabel() const { return m_nameLabel; }
    QLabel* sizeLabel() const { return m_sizeLabel; }
    QLabel* diskInfoLabel() const { return m_diskInfoLabel; }
    DiskUsageBarView* usageBar() const { return m_usageBar; }

    // How full the bar shows a drive, 0..100; total 0 shows an empty bar.
    static double usagePercent(std::int64_t totalBytes, std::int64_t freeBytes);

private:
    VolumeObjRef m_volumeObj;
    bool m_isOnlyShowEx = false;
    DiskListVCDelegate* diskListVCDelegate = nullptr; // not owned
    DiskListView* m_aView;
    ImageView* m_diskIconImageView;
    QLabel* m_nameLabel;
    QLabel* m_sizeLabel;
    QLabel* m_diskInfoLabel;
    DiskUsageBarView* m_usageBar = nullptr;
};
