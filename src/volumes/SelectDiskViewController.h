#pragma once

#include "volumes/DiskListViewController.h"
#include "volumes/VolumeObj.h"

#include <QList>
#include <QWidget>

#include <memory>

class PickerSpinnerView;
class Popover;
class QLabel;
class QScrollArea;
class VolumeEnumerator;

// What a drive picker tells the workflow that opened it. Optional.
class SelectDiskVCDelegate {
public:
    virtual ~SelectDiskVCDelegate() = default;
    virtual void doSelectDiskWithVolume(const VolumeObjRef& volume) { Q_UNUSED(volume); }
};

// The drive picker the workflows open in a popover under a slot. Each picker scans afresh
// when it is made, with a spinner turning meanwhile: the mounted volumes ("Disk Copy", "Disk
// Image Create") or, with isOnlyShowEx, the whole USB disks ("OS Clone"). The list then shows
// the internal drives and the external ones under their headings, a row per drive; a click on
// a row hands its record to the delegate, and the owner closes the picker.
class SelectDiskViewController : public QWidget, public DiskListVCDelegate {
    Q_OBJECT
public:
    static constexpr int kListWidth = 392;
    static constexpr int kMinimumListHeight = 400;
    static constexpr int kHeadingHeight = 25;

    // Registers the disk callbacks and starts the first scan.
    explicit SelectDiskViewController(bool isOnlyShowEx = false, QWidget* parent = nullptr);
    ~SelectDiskViewController() override;

    bool isOnlyShowEx() const { return m_isOnlyShowEx; }
    void setSelectDiskVCDelegate(SelectDiskVCDelegate* delegate) { selectDiskVCDelegate = delegate; }

    // Empties the list, shows the spinner and scans in the background; the list shows 0.2 s
    // after the scan hands over.
    void awakeFromNib();
    // Builds the visible list from the last scan's records.
    void showView();
    // The records of the last scan, in the order found. Read it only once the list shows.
    const VolumeObjList& allVolumeArr() const;

    // DiskListVCDelegate: a row was clicked.
    void doSelectDiskWithVolume(const VolumeObjRef& volume) override;

    PickerSpinnerView* loadP() const { return m_loadP; }
    QScrollArea* listScrollView() const { return m_listScrollView; }
    QWidget* listContent() const { return m_listContent; }
    QList<DiskListViewController*> rows() const { return m_rows; }
    QList<QLabel*> headings() const { return m_headings; }

    // Shows a picker in a popover under `anchor`, inside the anchor's window. The popover and
    // the picker are deleted once the popover closes; the owner closes it after a pick.
    static Popover* presentUnder(QWidget* anchor, SelectDiskViewController* picker);

Q_SIGNALS:
    // The list is built and visible (after each scan).
    void listShown();

private:
    QLabel* addHeading(const QString& text, int y);

    bool m_isOnlyShowEx;
    SelectDiskVCDelegate* selectDiskVCDelegate = nullptr; // not owned
    std::shared_ptr<VolumeEnumerator> m_scan;             // shared with the scan's worker
    int m_generation = 0;                                 // main thread only
    PickerSpinnerView* m_loadP;
    QScrollArea* m_listScrollView;
    QWidget* m_listContent = nullptr;
    QList<DiskListViewController*> m_rows;
    QList<QLabel*> m_headings;
};
