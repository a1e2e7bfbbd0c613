#include "tst_diskmanagerworkflow.h"

#include "DiskManagerTestKit.h"
#include "Pointer.h"
#include "Screenshot.h"
#include "TreeCompare.h"
#include "UrlCatcher.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "core/QvLog.h"
#include "diskmanager/DiskManagerCell.h"
#include "diskmanager/DiskManagerEngine.h"
#include "diskmanager/FormatEndViewController.h"
#include "diskmanager/FormatTypeViewController.h"
#include "diskmanager/MakeSureFormatViewController.h"
#include "diskmanager/RepairDiskViewController.h"
#include "platform/Shell.h"
#include "ui/ElidedLabel.h"
#include "ui/FlatButton.h"
#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/QuestionPanel.h"
#include "volumes/DriveLossView.h"
#include "volumes/NotificationCenter.h"
#include "volumes/WatchMountUnmount.h"

#include <QAbstractButton>
#include <QDesktopServices>
#include <QDir>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>
#include <QTimer>

using namespace DiskManagerTestKit;
using namespace VolumesTestKit;

namespace {

// A shown Disk Manager on `mac` whose first listing has been taken in.
std::unique_ptr<RepairDiskViewController> openTab(const EmulatedMac& mac) {
    if (!mac.isValid()) {
        qWarning("%s", qPrintable(mac.error()));
        return nullptr;
    }
    auto tab = std::make_unique<RepairDiskViewController>();
    tab->resize(860, 560);
    tab->show();
    if (!QTest::qWaitForWindowExposed(tab.get()))
        return nullptr;
    if (!waitUntil([&] { return !tab->isScanV() && !tab->allVolumeArr().isEmpty(); }, 20000))
        return nullptr;
    return tab;
}

int rowOf(const RepairDiskViewController& tab, const QString& name) {
    const VolumeObjList& list = tab.allVolumeArr();
    for (int row = 0; row < list.size(); ++row) {
        if (list[row]->volumeName() == name)
            return row;
    }
    return -1;
}

DiskManagerCell* cellOf(const RepairDiskViewController& tab, const QString& name) {
    return tab.cellAt(rowOf(tab, name));
}

QAbstractButton* button(DiskManagerCell* cell, const char* id) {
    return cell ? cell->findChild<QAbstractButton*>(QLatin1String(id)) : nullptr;
}

QString shownName(DiskManagerCell* cell) {
    // The whole name: the row shortens it only to the width its layout settles on.
    return cell->findChild<ElidedLabel*>("name")->fullText();
}

// Waits until the tab shows a listing taken after `listings` were seen, in which `name` is (or
// is not) a row.
bool waitForRow(RepairDiskViewController& tab, const QSignalSpy& listed, qsizetype listings,
                const QString& name, bool present) {
    return waitUntil(
        [&] { return listed.size() > listings && !tab.isScanV() && (rowOf(tab, name) >= 0) == present; },
        20000);
}

// Opens the confirmation for a volume by its row's "Format" button.
MakeSureFormatViewController* confirmFormatOf(RepairDiskViewController& tab, const QString& name) {
    QAbstractButton* format = button(cellOf(tab, name), "format");
    if (!format || !format->isVisible())
        return nullptr;
    click(format);
    return tab.makeSureFormatViewController();
}

// Types into a field the way a user does, replacing what it holds. Keys carry their text, so
// letters beyond ASCII are typed as well.
void retype(QLineEdit* field, const QString& text) {
    field->setFocus();
    field->selectAll();
    QTest::keyClick(field, Qt::Key_Backspace);
    for (QChar c : text) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, QString(c));
        QCoreApplication::sendEvent(field, &press);
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_unknown, Qt::NoModifier, QString(c));
        QCoreApplication::sendEvent(field, &release);
    }
}

// Clicks a volume's row away from its buttons, as a user selects it.
void clickRow(const RepairDiskViewController& tab, const QString& name) {
    DiskManagerCell* cell = cellOf(tab, name);
    QTest::mouseClick(cell, Qt::LeftButton, {}, QPoint(8, cell->height() / 2));
}

// "Rename" on a volume's row, then the name typed into its field; answers the row.
DiskManagerCell* startRename(const RepairDiskViewController& tab, const QString& name, const QString& typed) {
    click(button(cellOf(tab, name), "rename"));
    DiskManagerCell* cell = cellOf(tab, name);
    retype(cell->nameField(), typed);
    return cell;
}

} // namespace

void TestDiskManagerWorkflow::tabListsVolumesWithTheirButtons() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    QCOMPARE(tab->parTableView()->rowCount(), 5);
    QCOMPARE(rowOf(*tab, "EFI"), -1);
    QCOMPARE(tab->selectIndex(), 0);
    QCOMPARE(tab->selectVolume(), tab->allVolumeArr().first());
    QVERIFY(tab->loadProView()->isHidden());

    struct Expect {
        const char* name;
        bool format;
        bool eject;
        const char* icon;
        const char* size; // used / total
        const char* type;
    };
    for (const Expect& e : {Expect{"Macintosh HD", false, false, "ic_os", "182.00 GB/500.07 GB", "APFS"},
                            Expect{"Data", true, false, "ic_disk", "640.00 GB/2.00 TB", "Journaled HFS+"},
                            Expect{"STICK", true, true, "ic_usb", "1.76 KB/16.00 GB", "MS-DOS FAT32"},
                            Expect{"WINDOWS", true, true, "ic_usb", "0 byte/2.00 TB", "NTFS"},
                            Expect{"Projects", true, true, "ic_usb", "12.00 GB/499.79 GB", "APFS"}}) {
        DiskManagerCell* cell = cellOf(*tab, QLatin1String(e.name));
        QVERIFY2(cell, e.name);
        QVERIFY(button(cell, "rename")->isVisible());
        QCOMPARE(button(cell, "format")->isVisible(), e.format);
        QCOMPARE(button(cell, "eject")->isVisible(), e.eject);
        QVERIFY(!button(cell, "save")->isVisible());
        const QString icon =
            QLatin1String(e.icon) + (cell->isSelected() ? QStringLiteral("_sel") : QString());
        QCOMPARE(cell->findChild<ImageView*>("icon")->imageName(), icon);
        QCOMPARE(cell->findChild<QLabel*>("size")->text(), QLatin1String(e.size));
        QCOMPARE(cell->findChild<QLabel*>("type")->text(), QLatin1String(e.type));
    }
    VolumeObj unknown;
    QCOMPARE(DiskManagerCell::sizeText(unknown), QStringLiteral("Unknow"));
    unknown.setVolumeTotalSize(QStringLiteral(" "));
    QCOMPARE(DiskManagerCell::sizeText(unknown), QStringLiteral("Unknow"));

    // Clicking a row selects it.
    DiskManagerCell* stick = cellOf(*tab, "STICK");
    QTest::mouseClick(stick, Qt::LeftButton, {}, QPoint(8, stick->height() / 2));
    QCOMPARE(tab->selectIndex(), rowOf(*tab, "STICK"));
    QCOMPARE(tab->selectVolume()->volumeName(), QStringLiteral("STICK"));
    QVERIFY(stick->isSelected());
    QVERIFY(!tab->cellAt(0)->isSelected() || rowOf(*tab, "STICK") == 0);
    QCOMPARE(stick->findChild<ImageView*>("icon")->imageName(), QStringLiteral("ic_usb_sel"));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("tab"));

    // The help button opens the support team's page.
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler(QStringLiteral("https"), &catcher, "openUrl");
    click(tab->helpButton());
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    QCOMPARE(catcher.opened, QList<QUrl>({QUrl(QStringLiteral("https://www.kelvaro.com/support/contact/"))}));
}

void TestDiskManagerWorkflow::renameFromTheRow() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    const QString uuid = mac->diskInfo("/Volumes/STICK").value("VolumeUUID").toString();
    mac->clearLog();
    QSignalSpy listed(tab.get(), &RepairDiskViewController::volumesReloaded);

    // "Rename" on the stick's row selects it and opens its name field.
    click(button(cellOf(*tab, "STICK"), "rename"));
    DiskManagerCell* stick = cellOf(*tab, "STICK");
    // Watched from here on: a listing may replace the row once the tool has run.
    const QPointer<DiskManagerCell> kept(stick);
    QVERIFY(tab->isRenameEdit());
    QCOMPARE(tab->selectVolume()->volumeName(), QStringLiteral("STICK"));
    QVERIFY(stick->nameField()->isVisible());
    QCOMPARE(stick->nameField()->text(), QStringLiteral("STICK"));
    QVERIFY(!stick->findChild<QLabel*>("name")->isVisible());
    QVERIFY(button(stick, "save")->isVisible());
    for (int row = 0; row < tab->parTableView()->rowCount(); ++row) {
        for (const char* id : {"rename", "format", "eject"})
            QVERIFY(!button(tab->cellAt(row), id)->isVisible());
        if (tab->cellAt(row) != stick)
            QVERIFY(!button(tab->cellAt(row), "save")->isVisible());
    }
    retype(stick->nameField(), QStringLiteral("my backup disk"));
    QCOMPARE(tab->editStr(), QStringLiteral("my backup disk"));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("rename-editing"));

    qsizetype listings = listed.size();
    QSignalSpy renamed(tab->engine(), &DiskManagerEngine::renameFinished);
    click(button(stick, "save"));
    QVERIFY(!tab->isRenameEdit());
    // The tool runs on a worker; the row takes the name once it has succeeded.
    QVERIFY(waitUntil([&] { return renamed.size() == 1; }, 20000));
    QCOMPARE(changingCalls(*mac),
             QList<QStringList>({{QStringLiteral("rename"), uuid, QStringLiteral("MY BACKUP D")}}));
    // Unless a listing (the rename's mount notices) has already replaced the row.
    QVERIFY(!kept || shownName(kept) == QStringLiteral("MY BACKUP D"));
    // The tool moved the mount point; the notices bring a listing with the tool's own name.
    QVERIFY(waitForRow(*tab, listed, listings, "MY BACKUP D", true));
    QCOMPARE(mac->diskInfo(uuid).value("VolumeName").toString(), QStringLiteral("MY BACKUP D"));

    struct Case {
        QString typed;
        QString expected; // empty: nothing may run
    };
    // The FAT32 rule's cases are TestDiskManagerEngine::fat32NameRule's; here, a name beyond
    // ASCII typed as keys, and the blank names that run nothing.
    const QList<Case> cases = {
        {QString::fromUtf8("备份 disk"), QStringLiteral("NEW")},
        {QString(), QString()},
        {QStringLiteral(" "), QString()},
    };
    QString current = QStringLiteral("MY BACKUP D");
    for (const Case& c : cases) {
        mac->clearLog();
        DiskManagerCell* cell = startRename(*tab, current, c.typed);
        listings = listed.size();
        click(button(cell, "save"));
        QVERIFY(!tab->isRenameEdit());
        if (c.expected.isEmpty()) {
            QCOMPARE(changingCalls(*mac), QList<QStringList>());
            QCOMPARE(shownName(cell), current);
            continue;
        }
        QVERIFY(waitUntil([&] { return !changingCalls(*mac).isEmpty(); }, 20000));
        QCOMPARE(changingCalls(*mac), QList<QStringList>({{QStringLiteral("rename"), uuid, c.expected}}));
        QVERIFY2(waitForRow(*tab, listed, listings, c.expected, true), qPrintable(c.expected));
        QCOMPARE(shownName(cellOf(*tab, c.expected)), c.expected);
        current = c.expected;
    }
    // Leaving by selecting another row renames nothing.
    mac->clearLog();
    startRename(*tab, current, QStringLiteral("OTHER"));
    clickRow(*tab, "Data");
    QVERIFY(!tab->isRenameEdit());
    QCOMPARE(changingCalls(*mac), QList<QStringList>());
}

void TestDiskManagerWorkflow::formatNtfsThroughThePopups() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    QSignalSpy listed(tab.get(), &RepairDiskViewController::volumesReloaded);
    mac->clearLog();

    MakeSureFormatViewController* confirm = confirmFormatOf(*tab, "WINDOWS");
    QVERIFY(confirm);
    QVERIFY(!tab->formatend());
    QCOMPARE(confirm->nameLabel->text(), QStringLiteral("Format 'WINDOWS'?"));
    QCOMPARE(confirm->nodeLabel->text(),
             QStringLiteral("All data on 'WINDOWS' will be deleted after format, do you want to format it?"));
    // The type of an NTFS volume is locked.
    QCOMPARE(confirm->typeLabel->text(), QStringLiteral("NTFS"));
    QVERIFY(confirm->isTypeLocked());
    QVERIFY(!confirm->typeSelectBut->isEnabled());
    QVERIFY(!confirm->openImageV->isVisible());
    // The popup hangs from the top middle of the window.
    QWidget* popup = confirm->superDelegate();
    QVERIFY(popup && popup->isVisible());
    QCOMPARE(popup->parentWidget(), tab.get());
    QCOMPARE(popup->x() + popup->width() / 2, tab->width() / 2 - 3);
    QCOMPARE(popup->y(), 5);
    // The name field opens for typing only once the popup is up.
    QVERIFY(confirm->nameTextFiled->isReadOnly());
    QVERIFY(waitUntil([&] { return !confirm->nameTextFiled->isReadOnly(); }, 2000));
    retype(confirm->nameTextFiled, QStringLiteral("Data"));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("confirm-type-locked"));

    // The erase takes a while: the progress popup shows meanwhile, placed like the others.
    QVERIFY(mac->addFault(R"({"tool": "diskutil", "verb": "eraseVolume", "mode": "hang", "seconds": 1})"));
    const qsizetype listings = listed.size();
    click(confirm->okButton);
    QVERIFY(tab->formatend());
    QVERIFY(waitUntil([&] { return tab->formatingViewController() != nullptr; }, 2000));
    QWidget* progress = tab->formatingViewController()->parentWidget();
    QVERIFY(progress->isVisible());
    QCOMPARE(progress->y(), 5);
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("formatting"));
    QVERIFY(tab->formatEndViewController() == nullptr);
    QVERIFY(waitUntil([&] { return tab->formatEndViewController() != nullptr; }, 20000));
    QVERIFY(tab->formatingViewController() == nullptr);
    QCOMPARE(changingCalls(*mac),
             QList<QStringList>({{"eraseVolume", "MS-DOS FAT32", "NEW", "/dev/disk4s1"}}));
    QVERIFY(waitForRow(*tab, listed, listings, "NEW", true));
    QCOMPARE(rowOf(*tab, "WINDOWS"), -1);
    QCOMPARE(tab->allVolumeArr().at(rowOf(*tab, "NEW"))->diskType(), QStringLiteral("MS-DOS FAT32"));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("format-end"));

    FormatEndViewController* end = tab->formatEndViewController();
    click(end->okButton());
    QVERIFY(waitUntil([&] { return tab->formatEndViewController() == nullptr; }, 2000));
}

void TestDiskManagerWorkflow::formatWithTheTypeMenu() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    mac->clearLog();

    MakeSureFormatViewController* confirm = confirmFormatOf(*tab, "STICK");
    QVERIFY(confirm);
    QCOMPARE(confirm->typeLabel->text(), QStringLiteral("MS-DOS FAT32"));
    QVERIFY(!confirm->isTypeLocked());
    QVERIFY(confirm->typeSelectBut->isEnabled());
    QVERIFY(confirm->openImageV->isVisible());
    QVERIFY(waitUntil([&] { return !confirm->nameTextFiled->isReadOnly(); }, 2000));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("confirm"));

    // The menu: one at a time; it closes when the pointer leaves it and after 3 seconds.
    click(confirm->typeSelectBut);
    QPointer<FormatTypeViewController> menu = confirm->typeMenu();
    QVERIFY(menu && menu->isVisible());
    click(confirm->typeSelectBut);
    QCOMPARE(confirm->typeMenu(), menu.data());
    QCOMPARE(menu->label_1->text(), QStringLiteral("ExFAT"));
    QCOMPARE(menu->label_2->text(), QStringLiteral("MS-DOS FAT32"));
    QCOMPARE(menu->label_3->text(), QStringLiteral("Journaled HFS+"));
    hover(menu->view_4);
    QVERIFY(menu->label_3->styleSheet().contains("#ffffff"));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("type-menu"));
    hover(menu, false);
    QVERIFY(waitUntil([&] { return menu.isNull(); }, 1000));
    QCOMPARE(confirm->typeLabel->text(), QStringLiteral("MS-DOS FAT32"));

    click(confirm->typeSelectBut);
    menu = confirm->typeMenu();
    QVERIFY(menu);
    QVERIFY(waitUntil([&] { return menu.isNull(); }, 4500)); // closed on its own

    click(confirm->typeSelectBut);
    menu = confirm->typeMenu();
    QVERIFY(menu);
    click(menu->rowWithTag(2));
    QCOMPARE(confirm->typeLabel->text(), QStringLiteral("Journaled HFS+"));
    QVERIFY(waitUntil([&] { return menu.isNull(); }, 1000));

    // A listing or another row chosen while the confirmation is open moves the selection; the
    // volume named in the confirmation is still the one formatted.
    QSignalSpy listed(tab.get(), &RepairDiskViewController::volumesReloaded);
    NotificationCenter::defaultCenter()->postNotificationName(QString::fromLatin1(MCVolumeMountNotification),
                                                              nullptr);
    QVERIFY(waitUntil([&] { return listed.size() == 1 && !tab->isScanV(); }, 20000));
    clickRow(*tab, "Data");
    QCOMPARE(tab->selectVolume()->volumeName(), QStringLiteral("Data"));

    // An empty name becomes "NEW".
    retype(confirm->nameTextFiled, QString());
    click(confirm->okButton);
    QVERIFY(waitUntil([&] { return tab->formatEndViewController() != nullptr; }, 20000));
    QCOMPARE(changingCalls(*mac),
             QList<QStringList>({{"eraseVolume", "Journaled HFS+", "NEW", "/dev/disk3s1"}}));
    QVERIFY(waitUntil([&] { return !tab->isScanV() && rowOf(*tab, "NEW") >= 0; }, 20000));
    QCOMPARE(tab->allVolumeArr().at(rowOf(*tab, "NEW"))->diskType(), QStringLiteral("Journaled HFS+"));
}

void TestDiskManagerWorkflow::cancelLeavesTheVolumeAlone() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    mac->clearLog();
    QPointer<MakeSureFormatViewController> first = confirmFormatOf(*tab, "STICK");
    QVERIFY(first);
    // Only one confirmation at a time.
    click(button(cellOf(*tab, "Data"), "format"));
    QCOMPARE(tab->makeSureFormatViewController(), first.data());
    QCOMPARE(tab->selectVolume()->volumeName(), QStringLiteral("Data"));

    click(first->noButton);
    QVERIFY(tab->formatend());
    QVERIFY(waitUntil([&] { return first.isNull(); }, 1000));
    QTest::qWait(300);
    QCOMPARE(changingCalls(*mac), QList<QStringList>());
    QVERIFY(tab->formatingViewController() == nullptr);
    QVERIFY(rowOf(*tab, "STICK") >= 0);
    QVERIFY(QDir(mac->host("/Volumes/STICK")).exists());

    // A new confirmation can be opened afterwards; an APFS volume keeps its type.
    QPointer<MakeSureFormatViewController> second = confirmFormatOf(*tab, "Projects");
    QVERIFY(second);
    QCOMPARE(second->nameLabel->text(), QStringLiteral("Format 'Projects'?"));
    QVERIFY(second->isTypeLocked());
    click(second->noButton);
    QVERIFY(waitUntil([&] { return second.isNull(); }, 1000));
    QCOMPARE(changingCalls(*mac), QList<QStringList>());
}

void TestDiskManagerWorkflow::ejectRemovesTheRowAfterTheUnmountNotice() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    const QString uuid = mac->diskInfo("/Volumes/STICK").value("VolumeUUID").toString();
    QSignalSpy listed(tab.get(), &RepairDiskViewController::volumesReloaded);
    const qsizetype listings = listed.size();
    mac->clearLog();
    click(button(cellOf(*tab, "STICK"), "eject"));
    QVERIFY(waitUntil([&] { return !changingCalls(*mac).isEmpty(); }, 20000));
    QCOMPARE(changingCalls(*mac), QList<QStringList>({{QStringLiteral("eject"), uuid}}));
    // The row stays until the platform reports the volume gone.
    QVERIFY(rowOf(*tab, "STICK") >= 0);
    QVERIFY(waitForRow(*tab, listed, listings, "STICK", false));
    QCOMPARE(tab->parTableView()->rowCount(), 4);
    QCOMPARE(tab->selectIndex(), 0);
}

void TestDiskManagerWorkflow::mountDuringListingIsReadAfterIt() {
    auto mac = managerMachine();
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    RepairDiskViewController tab;
    QSignalSpy started(tab.engine(), &DiskManagerEngine::listingStarted);
    QSignalSpy listed(&tab, &RepairDiskViewController::volumesReloaded);
    // The first listing was started by the tab itself and is still running.
    QVERIFY(tab.isScanV());
    QVERIFY(tab.loadProView()->isVisibleTo(&tab));
    NotificationCenter::defaultCenter()->postNotificationName(QString::fromLatin1(MCVolumeMountNotification),
                                                              nullptr);
    NotificationCenter::defaultCenter()->postNotificationName(
        QString::fromLatin1(MCVolumeUnmountNotification), nullptr);
    QCOMPARE(started.size(), 0);
    // The notices may have come after the listing read "/Volumes/": one more listing follows it.
    QVERIFY(waitUntil([&] { return listed.size() == 2; }, 20000));
    QTest::qWait(300);
    QCOMPARE(started.size(), 1);
    QCOMPARE(listed.size(), 2);
    QVERIFY(!tab.loadProView()->isVisibleTo(&tab));

    // Once idle, a mount notice lists again, and a real mount shows up.
    mac->run("diskutil", {"unmount", "/Volumes/STICK"});
    QVERIFY(waitForRow(tab, listed, 2, "STICK", false));
    QVERIFY(started.size() >= 1);
    const qsizetype listings = listed.size();
    mac->run("diskutil", {"mount", "/dev/disk3s1"});
    QVERIFY(waitForRow(tab, listed, listings, "STICK", true));
}

void TestDiskManagerWorkflow::unusableNamesAndFailuresAreShown() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    mac->clearLog();

    // A rename the volume's file system refuses: the field stays open and says why.
    DiskManagerCell* stick = startRename(*tab, "STICK", QStringLiteral("photos*2026"));
    click(button(stick, "save"));
    QVERIFY(tab->isRenameEdit());
    QVERIFY(stick->nameField()->isVisible());
    QVERIFY(stick->nameProblemLabel()->isVisible());
    QCOMPARE(stick->nameProblemLabel()->fullText(),
             QString::fromUtf8("MS-DOS FAT32 volumes cannot have “*” in their name."));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("rename-refused"));
    // Leaving the field forgets the reason.
    clickRow(*tab, "Data");
    QVERIFY(!stick->nameProblemLabel()->isVisible());

    // The confirmation keeps a name it cannot use and says why.
    MakeSureFormatViewController* confirm = confirmFormatOf(*tab, "Data");
    QVERIFY(confirm);
    QVERIFY(waitUntil([&] { return !confirm->nameTextFiled->isReadOnly(); }, 2000));
    retype(confirm->nameTextFiled, QStringLiteral("2026:11"));
    click(confirm->okButton);
    QCOMPARE(tab->makeSureFormatViewController(), confirm);
    QVERIFY(confirm->problemLabel->isVisible());
    QCOMPARE(confirm->problemLabel->text(),
             QString::fromUtf8("Journaled HFS+ volumes cannot have “:” in their name."));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("confirm-name-refused"));
    QTest::qWait(200);
    QCOMPARE(changingCalls(*mac), QList<QStringList>());

    // An erase the tool fails, or one that exits 0 without saying that it finished, ends in an
    // end popup that says so.
    for (const auto& [mode, reason] :
         {std::pair{"fail", "The disk tool ended with status 1."},
          std::pair{"silent", "The disk tool did not report the erase as finished."}}) {
        mac->clearLog();
        QVERIFY(mac->addFault(R"({"tool": "diskutil", "verb": "eraseVolume", "times": 1, "mode": ")" +
                              QByteArray(mode) + "\"}"));
        if (!tab->makeSureFormatViewController()) {
            confirm = confirmFormatOf(*tab, "Data");
            QVERIFY(confirm);
            QVERIFY(waitUntil([&] { return !confirm->nameTextFiled->isReadOnly(); }, 2000));
        }
        retype(confirm->nameTextFiled, QStringLiteral("Archive"));
        click(confirm->okButton);
        QVERIFY(waitUntil([&] { return tab->formatEndViewController() != nullptr; }, 20000));
        QCOMPARE(changingCalls(*mac),
                 QList<QStringList>({{"eraseVolume", "Journaled HFS+", "Archive", "/dev/disk2s2"}}));
        FormatEndViewController* end = tab->formatEndViewController();
        QCOMPARE(end->titleLabel()->text(), QStringLiteral("Format failed"));
        QCOMPARE(end->text(), QString::fromLatin1(reason));
        saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("format-failed-") + mode);
        click(end->okButton());
        QVERIFY(waitUntil([&] { return tab->formatEndViewController() == nullptr; }, 2000));
        QVERIFY(waitUntil([&] { return !tab->isScanV() && rowOf(*tab, "Data") >= 0; }, 20000));
    }
}

void TestDiskManagerWorkflow::hungToolEndsAtItsLimitWithTheWindowResponsive() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    QvUninitLog();
    const ToolTimeLimits saved = toolTimeLimits();
    setToolTimeLimits({1500, 1500, 300});
    QVERIFY(mac->addFault(R"({"tool": "diskutil", "verb": "rename", "mode": "hang", "seconds": 60})"));

    DiskManagerCell* stick = startRename(*tab, "STICK", QStringLiteral("BACKUP"));
    // The main loop keeps turning while the tool hangs.
    int ticks = 0;
    QTimer heartbeat;
    QObject::connect(&heartbeat, &QTimer::timeout, [&] { ++ticks; });
    heartbeat.start(50);
    QSignalSpy renamed(tab->engine(), &DiskManagerEngine::renameFinished);
    QElapsedTimer clock;
    clock.start();
    click(button(stick, "save"));
    QVERIFY(clock.elapsed() < 500);
    QVERIFY(waitUntil([&] { return renamed.size() == 1; }, 10000));
    setToolTimeLimits(saved);
    QVERIFY2(clock.elapsed() >= 1500 && clock.elapsed() < 6000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(ticks >= 20, qPrintable(QString::number(ticks)));

    // The failure path: the name field is back with the reason, the volume keeps its name.
    stick = cellOf(*tab, "STICK");
    QVERIFY(stick && tab->isRenameEdit());
    QCOMPARE(stick->nameField()->text(), QStringLiteral("BACKUP"));
    QCOMPARE(stick->nameProblemLabel()->fullText(),
             QStringLiteral("The disk tool did not finish in time and was stopped."));
    QCOMPARE(mac->diskInfo("/Volumes/STICK").value("VolumeName").toString(), QStringLiteral("STICK"));
    QvUninitLog();
    QVERIFY(readHostFile(mac->host("/tmp/Pellory.txt")).contains("stopped \"diskutil rename "));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("rename-timed-out"));
}

void TestDiskManagerWorkflow::quickFormatLeavesNoProgressPopup() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    MakeSureFormatViewController* confirm = confirmFormatOf(*tab, "STICK");
    QVERIFY(confirm);
    QVERIFY(waitUntil([&] { return !confirm->nameTextFiled->isReadOnly(); }, 2000));
    click(confirm->okButton);
    QVERIFY(waitUntil([&] { return tab->formatEndViewController() != nullptr; }, 20000));
    QCOMPARE(tab->formatEndViewController()->titleLabel()->text(), QStringLiteral("Format finished"));
    // The progress popup's delay running out after the format returned shows nothing.
    tab->showFormatingView();
    QVERIFY(tab->formatingViewController() == nullptr);
}

void TestDiskManagerWorkflow::ejectWithoutUuidRunsNothing() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    const int row = rowOf(*tab, "STICK");
    QVERIFY(row >= 0);
    tab->tableViewShouldSelectRow(row);
    tab->selectVolume()->setDiskUUID(QString());
    mac->clearLog();
    click(button(cellOf(*tab, "STICK"), "eject"));
    QTest::qWait(500);
    QCOMPARE(diskutilCalls(*mac), QList<QStringList>());
    QVERIFY(QDir(mac->host("/Volumes/STICK")).exists());
}

void TestDiskManagerWorkflow::namesAreToldBeforeTheyChange_data() {
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("hint");
    QTest::addColumn<bool>("refused");
    QTest::newRow("FAT32") << "STICK"
                           << "Will be named MYVERYLONGS: FAT32 names are at most 11 characters, in capitals"
                           << false;
    QTest::newRow("ExFAT") << "Backup"
                           << "The name is too long: ExFAT volumes take at most 11 characters." << true;
    QTest::newRow("HFS+") << "Data"
                          << "Will be named MyVeryLongStickName2024" << false;
}

void TestDiskManagerWorkflow::namesAreToldBeforeTheyChange() {
    QFETCH(QString, volume);
    QFETCH(QString, hint);
    QFETCH(bool, refused);
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    auto tab = openTab(*mac);
    QVERIFY(tab);
    mac->clearLog();
    DiskManagerCell* cell = startRename(*tab, volume, QStringLiteral("MyVeryLongStickName2024"));
    QVERIFY(cell->nameProblemLabel()->isVisible());
    QCOMPARE(cell->nameProblemLabel()->fullText(), hint);
    // Said in the error colour only when nothing would run.
    QCOMPARE(cell->nameProblemLabel()->styleSheet().contains("#e5534b"), refused);
    QCOMPARE(changingCalls(*mac), QList<QStringList>());
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("name-hint-") + volume);
}

void TestDiskManagerWorkflow::formatConfirmationListsOnlyWhatThatEraseDestroys() {
    auto mac = VolumesTestKit::machine("10.15.7", VolumesTestKit::twoVolumeDrive(),
                                       R"("system":{"size":"500GB","used":"12GB"})");
    auto tab = openTab(*mac);
    QVERIFY(tab);
    // Each row names its drive; the start-up volume says so.
    QCOMPARE(cellOf(*tab, "WINDOWS")->driveLabel()->fullText(),
             QString::fromUtf8("Samsung PSSD T7 Media · USB · 500.11 GB"));
    QVERIFY(cellOf(*tab, "Macintosh HD")
                ->driveLabel()
                ->fullText()
                .endsWith(QString::fromUtf8(" · start-up disk")));
    mac->clearLog();
    MakeSureFormatViewController* confirm = confirmFormatOf(*tab, "WINDOWS");
    QVERIFY(confirm);
    QCOMPARE(confirm->nameLabel->text(), QStringLiteral("Format 'WINDOWS'?"));
    QCOMPARE(confirm->lossView()->lines(),
             QStringList({QStringLiteral("/dev/disk2s3"),
                          QString::fromUtf8("Samsung PSSD T7 Media · USB · 500.11 GB"),
                          QString::fromUtf8("• WINDOWS — 22.22 KB used"),
                          QStringLiteral("22.22 KB of data will be erased.")}));
    QVERIFY(waitUntil([&] { return !confirm->nameTextFiled->isReadOnly(); }, 2000));
    // The name the volume will get follows the typing and the type.
    QCOMPARE(confirm->nameHintLabel()->fullText(), QStringLiteral("Will be named WINDOWS"));
    retype(confirm->nameTextFiled, QStringLiteral("MyVeryLongStickName2024"));
    QCOMPARE(confirm->nameHintLabel()->fullText(),
             QStringLiteral("Will be named MYVERYLONGS: FAT32 names are at most 11 characters, in capitals"));
    confirm->selectFormatbyType(0);
    QCOMPARE(confirm->nameHintLabel()->fullText(),
             QStringLiteral("The name is too long: ExFAT volumes take at most 11 characters."));
    confirm->selectFormatbyType(2);
    QCOMPARE(confirm->nameHintLabel()->fullText(), QStringLiteral("Will be named MyVeryLongStickName2024"));
    saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("confirm-identity"));
    // Return formats nothing.
    QVERIFY(!confirm->okButton->isDefault() && !confirm->okButton->autoDefault());
    QTest::keyClick(confirm->nameTextFiled, Qt::Key_Return);
    QTest::keyClick(confirm->okButton, Qt::Key_Return);
    QTest::qWait(200);
    QVERIFY(tab->makeSureFormatViewController());
    QCOMPARE(changingCalls(*mac), QList<QStringList>());
    click(confirm->noButton);
}

void TestDiskManagerWorkflow::busyVolumeEjectNamesTheHolder() {
    auto mac = managerMachine();
    auto tab = openTab(*mac);
    QVERIFY(tab);
    const QString uuid = mac->diskInfo("/Volumes/STICK").value("VolumeUUID").toString();
    QCOMPARE(mac->emuctl({"busy", "STICK", "2387", "/bin/zsh", "2386", "/usr/sbin/sshd"}).code, 0);
    const QStringList eject{QStringLiteral("eject"), uuid};
    const auto questionNamed = [&](const char* name) {
        return waitUntil([&] { return tab->ejectQuestion() && tab->ejectQuestion()->objectName() == name; },
                         20000);
    };
    mac->clearLog();

    // The refusal names the program and its process; declining the forced eject runs nothing.
    for (bool declineAtOnce : {true, false}) {
        click(button(cellOf(*tab, "STICK"), "eject"));
        QVERIFY(questionNamed("volumeInUse"));
        QCOMPARE(tab->ejectQuestion()->text(),
                 QStringLiteral("STICK is in use by zsh (process 2387). Quit it and try again."));
        if (declineAtOnce) {
            saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("eject-busy"));
            click(tab->ejectQuestion()->quietButton());
            continue;
        }
        click(tab->ejectQuestion()->mainButton());
        QVERIFY(questionNamed("forceEject"));
        QCOMPARE(tab->ejectQuestion()->text(),
                 QStringLiteral("zsh (process 2387) still has files open on STICK. If you eject it now, open "
                                "files in zsh may lose unsaved data."));
        saveScreenshot(tab.get(), QStringLiteral("diskmanager"), QStringLiteral("eject-force-question"));
        QTest::keyClick(tab->ejectQuestion()->mainButton(), Qt::Key_Return);
        click(tab->ejectQuestion()->quietButton());
    }
    QTest::qWait(300);
    QCOMPARE(changingCalls(*mac), QList<QStringList>({eject, eject}));
    QVERIFY(rowOf(*tab, "STICK") >= 0);

    // Agreed to, the forced eject unmounts by force, then ejects.
    QSignalSpy listed(tab.get(), &RepairDiskViewController::volumesReloaded);
    const qsizetype listings = listed.size();
    click(button(cellOf(*tab, "STICK"), "eject"));
    QVERIFY(questionNamed("volumeInUse"));
    click(tab->ejectQuestion()->mainButton());
    QVERIFY(questionNamed("forceEject"));
    click(tab->ejectQuestion()->mainButton());
    QVERIFY(waitUntil([&] { return changingCalls(*mac).size() == 5; }, 20000));
    QCOMPARE(changingCalls(*mac),
             QList<QStringList>(
                 {eject, eject, eject, {QStringLiteral("unmount"), QStringLiteral("force"), uuid}, eject}));
    QVERIFY(waitForRow(*tab, listed, listings, "STICK", false));
}
