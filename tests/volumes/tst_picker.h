#pragma once

#include <QObject>

// The whole picker against emulated Macs: scan, spinner, headings, rows, selection.
class TestPicker : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void mountedVolumesUnderTheirHeadings();
    void wholeUsbDisksOnlyUnderExternalDrives();
    void listHeightGrowsPastFourRows();
    void clickOnARowReachesTheWorkflow();
    void pickerGoneBeforeItsScanEnds();
    void screenshotsInAPopover();
    void rowsNameTheDriveAndItsVolumes();
};
