#pragma once

#include <QObject>

#include <memory>

class EmulatedMac;

class TestDiskCopyWorkflow : public QObject {
    Q_OBJECT
public:
    TestDiskCopyWorkflow();
    ~TestDiskCopyWorkflow() override;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void copiesAWholeVolumeIntoTheDatedFolder();
    void refusesTheSameVolumeAndTooLittleSpaceThenCopiesWhatFits();
    void cancelStopsWithinATickedFolder();
    void quitAndCloseDuringACopy_data();
    void quitAndCloseDuringACopy();
    // Verify, receipt and Resume.
    void verifyNamesWhatDiffers_data();
    void verifyNamesWhatDiffers();
    void fatStickLeavesOutWhatItCannotStoreAndXxhsumChecksTheRest();
    void resumeAfterTheDriveCameBack();

private:
    std::unique_ptr<EmulatedMac> mac; // a fresh one for every test
};
