#include "DiskManagerTestKit.h"
#include "Pointer.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "UrlCatcher.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "core/WorkerPool.h"
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
#include <QAccessible>
#include <QAccessibleActionInterface>
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

QAbstractButton* button(DiskManagerCell* cell, const char* id) {
    return cell ? cell->findChild<QAbstractButton*>(QLatin1String(id)) : nullptr;
}

QString shownName(DiskManagerCell* cell) {
    // The whole name: the row shortens it only to the width its layout settles on.
    return cell->findChild<ElidedLabel*>("name")->fullText();
}

// Types into a field the way a user does, replacing what it holds. Keys carry their text, so
// letters beyond ASCII are typed as well.
void retype(QLineEdit* field, const QString& text) {
    field->setFocus();
    field->selectAll();
    QTest::keyClick(field, Qt::Key_Backspace);
    for (QChar c : text)
        for (QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent key(type, Qt::Key_unknown, Qt::NoModifier, QString(c));
            QCoreApplication::sendEvent(field, &key);
        }
}

// A Disk Manager on its own machine. open() shows it and waits for its first listing, then
// clears the machine's log.
struct Tab {
    std::unique_ptr<EmulatedMac> mac;
    RepairDiskViewController view;
    QSignalSpy listed{&view, &RepairDiskViewController::volumesReloaded};

    explicit Tab(std::unique_ptr<EmulatedMac> machine = managerMachine()) : mac(std::move(machine)) {}
    bool open() {
        if (!mac->isValid()) {
            qWarning("%s", qPrintable(mac->error()));
            return false;
        }
        view.resize(860, 560);
        view.show();
        const bool listedOnce =
            QTest::qWaitForWindowExposed(&view) &&
            waitUntil([&] { return !view.isScanV() && !view.allVolumeArr().isEmpty(); }, 20000);
        mac->clearLog();
        return listedOnce;
    }
    int row(const QString& name) const { return int(namesOf(view.allVolumeArr()).indexOf(name)); }
    DiskManagerCell* cell(const QString& name) const { return view.cellAt(row(name)); }
    QAbstractButton* button(const QString& name, const char* id) const { return ::button(cell(name), id); }
    QString uuidOf(const QString& name) const {
        return mac->diskInfo("/Volumes/" + name).value("VolumeUUID").toString();
    }
    // Waits until the tab shows a listing taken after `listings` were seen, in which `name` is
    // (or is not) a row.
    bool waitForRow(const QString& name, bool present, qsizetype listings) {
        return waitUntil(
            [&] { return listed.size() > listings && !view.isScanV() && (row(name) >= 0) == present; },
            20000);
    }
    // Clicks a volume's row away from its buttons, as a user selects it.
    void clickRow(const QString& name) {
        DiskManagerCell* c = cell(name);
        QTest::mouseClick(c, Qt::LeftButton, {}, QPoint(8, c->height() / 2));
    }
    // "Rename" on a volume's row, then the name typed into its field; answers the row.
    DiskManagerCell* startRename(const QString& name, const QString& typed) {
        click(button(name, "rename"));
        DiskManagerCell* c = cell(name);
        retype(c->nameField(), typed);
        return c;
    }
    // The confirmation opened by a row's "Format" button, once its name field takes typing.
    MakeSureFormatViewController* confirmFormatOf(const QString& name) {
        QAbstractButton* format = button(name, "format");
        if (!format || !format->isVisible())
            return nullptr;
        click(format);
        MakeSureFormatViewController* confirm = view.makeSureFormatViewController();
        if (!confirm || !waitUntil([&] { return !confirm->nameTextFiled->isReadOnly(); }, 2000))
            return nullptr;
        return confirm;
    }
    // The end popup of a format, once it is up.
    FormatEndViewController* formatEnd() {
        waitUntil([&] { return view.formatEndViewController() != nullptr; }, 20000);
        return view.formatEndViewController();
    }
    bool closeFormatEnd() {
        click(view.formatEndViewController()->okButton());
        return waitUntil([&] { return view.formatEndViewController() == nullptr; }, 2000);
    }
    void shot(const QString& name) { saveScreenshot(&view, QStringLiteral("diskmanager"), name); }
};

} // namespace

// The "Disk Manager" tab driven through its widgets (offscreen) against emulated Macs: what the
// table shows, what each button runs, and the format popups.
class TestDiskManagerWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void formatsThroughThePopupsCancelledAndFailed() {
        Tab t;
        QVERIFY(t.open());
        // A hung rename ends at the tools' limit while the main loop keeps turning; the name field
        // is back with the reason and the volume keeps its name.
        const ToolTimeLimits saved = toolTimeLimits();
        setToolTimeLimits({1500, 1500, 300});
        QVERIFY(t.mac->addFault(R"({"tool": "diskutil", "verb": "rename", "mode": "hang", "seconds": 60})"));
        DiskManagerCell* stick = t.startRename("STICK", "BACKUP");
        int ticks = 0;
        QTimer heartbeat;
        QObject::connect(&heartbeat, &QTimer::timeout, [&] { ++ticks; });
        heartbeat.start(50);
        QSignalSpy renamed(t.view.engine(), &DiskManagerEngine::renameFinished);
        QElapsedTimer clock;
        clock.start();
        click(button(stick, "save"));
        QVERIFY(clock.elapsed() < 500);
        QVERIFY(waitUntil([&] { return renamed.size() == 1; }, 10000));
        setToolTimeLimits(saved);
        QVERIFY2(clock.elapsed() >= 1500 && clock.elapsed() < 6000,
                 qPrintable(QString::number(clock.elapsed())));
        QVERIFY2(ticks >= 20, qPrintable(QString::number(ticks)));
        stick = t.cell("STICK");
        QVERIFY(stick && t.view.isRenameEdit());
        QCOMPARE(stick->nameField()->text(), QStringLiteral("BACKUP"));
        QCOMPARE(stick->nameProblemLabel()->fullText(),
                 QStringLiteral("The disk tool did not finish in time and was stopped."));
        QCOMPARE(t.mac->diskInfo("/Volumes/STICK").value("VolumeName").toString(), QStringLiteral("STICK"));
        t.clickRow("Data");

        // An erase the tool fails, or one that exits 0 without saying that it finished, ends in an
        // end popup that says so.
        for (const auto& [mode, reason] :
             {std::pair{"fail", "The disk tool ended with status 1."},
              std::pair{"silent", "The disk tool did not report the erase as finished."}}) {
            t.mac->clearLog();
            QVERIFY(t.mac->addFault(
                "{\"tool\": \"diskutil\", \"verb\": \"eraseVolume\", \"times\": 1, \"mode\": \"" +
                QByteArray(mode) + "\"}"));
            MakeSureFormatViewController* confirm = t.confirmFormatOf("Data");
            QVERIFY(confirm);
            retype(confirm->nameTextFiled, QStringLiteral("Archive"));
            click(confirm->okButton);
            FormatEndViewController* end = t.formatEnd();
            QVERIFY(end);
            QCOMPARE(end->titleLabel()->text(), QStringLiteral("Format failed"));
            QCOMPARE(end->text(), QString::fromLatin1(reason));
            t.shot(QStringLiteral("format-failed-") + mode);
            QVERIFY(t.closeFormatEnd());
            QVERIFY(waitUntil([&] { return !t.view.isScanV() && t.row("Data") >= 0; }, 20000));
        }

        // A cancelled confirmation leaves the volume alone; only one is open at a time.
        t.mac->clearLog();
        QPointer<MakeSureFormatViewController> first = t.confirmFormatOf("STICK");
        QVERIFY(first);
        click(t.button("Data", "format"));
        QCOMPARE(t.view.makeSureFormatViewController(), first.data());
        QCOMPARE(t.view.selectVolume()->volumeName(), QStringLiteral("Data"));
        click(first->noButton);
        QVERIFY(waitUntil([&] { return first.isNull(); }, 1000));
        QVERIFY(t.view.formatingViewController() == nullptr);
        // A new confirmation can be opened afterwards; an APFS volume keeps its type. What the
        // cancelled ones ran (nothing) is in the call list compared at the end.
        QPointer<MakeSureFormatViewController> second = t.confirmFormatOf("Projects");
        QVERIFY(second && !second->typeSelectBut->isEnabled());
        click(second->noButton);
        QVERIFY(waitUntil([&] { return second.isNull(); }, 1000));

        MakeSureFormatViewController* confirm = t.confirmFormatOf("STICK");
        QVERIFY(confirm);
        QCOMPARE(confirm->typeLabel->text(), QStringLiteral("MS-DOS FAT32"));
        QVERIFY(confirm->typeSelectBut->isEnabled());
        QVERIFY(confirm->openImageV->isVisible());

        // The menu closes when the pointer leaves it and after 3 seconds.
        QPointer<FormatTypeViewController> menu;
        const auto openMenu = [&] {
            click(confirm->typeSelectBut);
            return (menu = confirm->typeMenu()) && menu->isVisible();
        };
        QVERIFY(openMenu());
        QCOMPARE((QStringList{menu->label_1->text(), menu->label_2->text(), menu->label_3->text()}),
                 (QStringList{"ExFAT", "MS-DOS FAT32", "Journaled HFS+"}));
        t.shot("type-menu");
        hover(menu, false);
        QVERIFY(waitUntil([&] { return menu.isNull(); }, 1000));
        QCOMPARE(confirm->typeLabel->text(), QStringLiteral("MS-DOS FAT32"));
        QVERIFY(openMenu());
        QVERIFY(waitUntil([&] { return menu.isNull(); }, 4500)); // closed on its own
        QVERIFY(openMenu());
        click(menu->rowWithTag(2));
        QCOMPARE(confirm->typeLabel->text(), QStringLiteral("Journaled HFS+"));
        QVERIFY(waitUntil([&] { return menu.isNull(); }, 1000));

        // A listing or another row chosen while the confirmation is open moves the selection; the
        // volume named in the confirmation is still the one formatted.
        qsizetype listings = t.listed.size();
        NotificationCenter::defaultCenter()->postNotificationName(
            QString::fromLatin1(MCVolumeMountNotification), nullptr);
        QVERIFY(waitUntil([&] { return t.listed.size() == listings + 1 && !t.view.isScanV(); }, 20000));
        t.clickRow("Data");
        QCOMPARE(t.view.selectVolume()->volumeName(), QStringLiteral("Data"));
        // An empty name becomes "NEW".
        retype(confirm->nameTextFiled, QString());
        click(confirm->okButton);
        QVERIFY(t.formatEnd());
        QCOMPARE(t.view.formatEndViewController()->titleLabel()->text(), QStringLiteral("Format finished"));
        QCOMPARE(changingCalls(*t.mac),
                 QList<QStringList>({{"eraseVolume", "Journaled HFS+", "NEW", "/dev/disk3s1"}}));
        // The progress popup's delay running out after a quick format returned shows nothing.
        t.view.showFormatingView();
        QVERIFY(t.view.formatingViewController() == nullptr);
        QVERIFY(waitUntil([&] { return !t.view.isScanV() && t.row("NEW") >= 0; }, 20000));
        QCOMPARE(t.view.allVolumeArr().at(t.row("NEW"))->diskType(), QStringLiteral("Journaled HFS+"));
        QVERIFY(t.closeFormatEnd());

        // An NTFS volume: the confirmation's texts, and its type locked.
        t.mac->clearLog();
        click(t.button("WINDOWS", "format"));
        confirm = t.view.makeSureFormatViewController();
        QVERIFY(confirm);
        QCOMPARE(confirm->nameLabel->text(), QStringLiteral("Format 'WINDOWS'?"));
        QCOMPARE(
            confirm->nodeLabel->text(),
            QStringLiteral("All data on 'WINDOWS' will be deleted after format, do you want to format it?"));
        QCOMPARE(confirm->typeLabel->text(), QStringLiteral("NTFS"));
        QVERIFY(!confirm->typeSelectBut->isEnabled());
        QVERIFY(!confirm->openImageV->isVisible());
        // The popup hangs from the top middle of the window.
        QWidget* popup = confirm->superDelegate();
        QVERIFY(popup && popup->isVisible());
        QCOMPARE(popup->parentWidget(), &t.view);
        QCOMPARE(popup->x() + popup->width() / 2, t.view.width() / 2 - 3);
        QCOMPARE(popup->y(), 5);
        // The name field opens for typing only once the popup is up.
        QVERIFY(confirm->nameTextFiled->isReadOnly());
        QVERIFY(waitUntil([&] { return !confirm->nameTextFiled->isReadOnly(); }, 2000));
        retype(confirm->nameTextFiled, QStringLiteral("Data"));
        t.shot("confirm-type-locked");

        // The erase takes a while: the progress popup shows meanwhile, placed like the others.
        QVERIFY(
            t.mac->addFault(R"({"tool": "diskutil", "verb": "eraseVolume", "mode": "hang", "seconds": 1})"));
        listings = t.listed.size();
        click(confirm->okButton);
        QVERIFY(waitUntil([&] { return t.view.formatingViewController() != nullptr; }, 2000));
        QWidget* progress = t.view.formatingViewController()->parentWidget();
        QVERIFY(progress->isVisible());
        QCOMPARE(progress->y(), 5);
        QVERIFY(t.view.formatEndViewController() == nullptr);
        QVERIFY(t.formatEnd());
        QVERIFY(t.view.formatingViewController() == nullptr);
        // Whatever was typed or chosen, an NTFS volume becomes FAT32 "NEW".
        QCOMPARE(changingCalls(*t.mac),
                 QList<QStringList>({{"eraseVolume", "MS-DOS FAT32", "NEW", "/dev/disk4s1"}}));
        QVERIFY(t.waitForRow("WINDOWS", false, listings));
        QVERIFY(t.closeFormatEnd());
    }

    void listingRenamingAndEjectingFromTheRows() {
        Tab t;
        QVERIFY2(t.mac->isValid(), qPrintable(t.mac->error()));
        QSignalSpy started(t.view.engine(), &DiskManagerEngine::listingStarted);
        // The first listing was started by the tab itself and is still running.
        QVERIFY(t.view.isScanV());
        QVERIFY(t.view.loadProView()->isVisibleTo(&t.view));
        for (const char* notice : {MCVolumeMountNotification, MCVolumeUnmountNotification})
            NotificationCenter::defaultCenter()->postNotificationName(QString::fromLatin1(notice), nullptr);
        QCOMPARE(started.size(), 0);
        // The notices may have come after the listing read "/Volumes/": one more listing follows it.
        QVERIFY(waitUntil([&] { return t.listed.size() == 2; }, 20000));
        QTest::qWait(300);
        QCOMPARE(started.size(), 1);
        QCOMPARE(t.listed.size(), 2);
        QVERIFY(!t.view.loadProView()->isVisibleTo(&t.view));
        QVERIFY(t.view.parTableView()->isEnabled());

        QVERIFY(t.open());
        QCOMPARE(t.view.parTableView()->rowCount(), 5);
        QCOMPARE(t.view.selectIndex(), 0);
        // A volume the tool gave no size for.
        QCOMPARE(DiskManagerCell::sizeText(VolumeObj()), QStringLiteral("Unknow"));

        // Clicking a row selects it.
        t.clickRow("STICK");
        QCOMPARE(t.view.selectIndex(), t.row("STICK"));
        QCOMPARE(t.view.selectVolume()->volumeName(), QStringLiteral("STICK"));
        QVERIFY(t.cell("STICK")->isSelected());
        // Each row as "name | buttons | icon | used/total | type".
        QStringList rows;
        for (const VolumeObjRef& v : t.view.allVolumeArr()) {
            DiskManagerCell* cell = t.cell(v->volumeName());
            QStringList buttons;
            for (const char* id : {"rename", "format", "eject", "save"}) {
                if (button(cell, id)->isVisible())
                    buttons << QLatin1String(id);
            }
            rows << QStringLiteral("%1 | %2 | %3 | %4 | %5")
                        .arg(shownName(cell), buttons.join(' '),
                             cell->findChild<ImageView*>("icon")->imageName(),
                             cell->findChild<QLabel*>("size")->text(),
                             cell->findChild<QLabel*>("type")->text());
        }
        rows.sort();
        QCOMPARE(rows,
                 (QStringList{"Data | rename format | ic_disk | 640.00 GB/2.00 TB | Journaled HFS+",
                              "Macintosh HD | rename | ic_os | 182.00 GB/500.07 GB | APFS",
                              "Projects | rename format eject | ic_usb | 12.00 GB/499.79 GB | APFS",
                              "STICK | rename format eject | ic_usb_sel | 1.76 KB/16.00 GB | MS-DOS FAT32",
                              "WINDOWS | rename format eject | ic_usb | 0 byte/2.00 TB | NTFS"}));
        t.shot("tab");

        // The help button opens the support team's page.
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler("https", &catcher, "openUrl");
        click(t.view.helpButton());
        QDesktopServices::unsetUrlHandler("https");
        QCOMPARE(catcher.opened, QList<QUrl>{QUrl("https://www.kelvaro.com/support/contact/")});

        // "Rename" on the stick's row selects it and opens its name field; the other buttons hide.
        const QString uuid = t.uuidOf("STICK");
        t.clickRow("Data");
        click(t.button("STICK", "rename"));
        DiskManagerCell* stick = t.cell("STICK");
        QVERIFY(t.view.isRenameEdit());
        QCOMPARE(t.view.selectVolume()->volumeName(), QStringLiteral("STICK"));
        QVERIFY(stick->nameField()->isVisible());
        QCOMPARE(stick->nameField()->text(), QStringLiteral("STICK"));
        QVERIFY(!stick->findChild<QLabel*>("name")->isVisible());
        for (int row = 0; row < t.view.parTableView()->rowCount(); ++row) {
            for (const char* id : {"rename", "format", "eject", "save"})
                QCOMPARE(button(t.view.cellAt(row), id)->isVisible(),
                         t.view.cellAt(row) == stick && !qstrcmp(id, "save"));
        }
        t.shot("rename-editing");
        // Leaving by selecting another row renames nothing.
        retype(stick->nameField(), QStringLiteral("OTHER"));
        t.clickRow("Data");
        QVERIFY(!t.view.isRenameEdit());
        QCOMPARE(changingCalls(*t.mac), QList<QStringList>());

        // The FAT32 rule's cases, and "my backup disk" run as "MY BACKUP D", are
        // TestDiskManagerEngine's; here, the rule applied to a name beyond ASCII typed as keys, and
        // the blank names that run nothing.
        QString current = QStringLiteral("STICK");
        // The listings the renames bring fill the rows in place: no row widget is made anew.
        const QPointer<DiskManagerCell> first = t.view.cellAt(0);
        for (const auto& [typed, expected] :
             QList<std::pair<QString, QString>>{{QString(), QString()},
                                                {QStringLiteral(" "), QString()},
                                                {QString::fromUtf8("备份 disk"), "NEW"}}) {
            t.mac->clearLog();
            // Watched from here on: a listing may replace the row once the tool has run.
            const QPointer<DiskManagerCell> cell = t.startRename(current, typed);
            QCOMPARE(t.view.editStr(), typed);
            const qsizetype listings = t.listed.size();
            QSignalSpy renamed(t.view.engine(), &DiskManagerEngine::renameFinished);
            click(button(cell, "save"));
            QVERIFY(!t.view.isRenameEdit());
            if (expected.isEmpty()) {
                QCOMPARE(changingCalls(*t.mac), QList<QStringList>());
                QCOMPARE(shownName(cell), current);
                continue;
            }
            // The tool runs on a worker; the row takes the name once it has succeeded, unless a
            // listing (the rename's mount notices) has already replaced the row.
            QVERIFY(waitUntil([&] { return renamed.size() == 1; }, 20000));
            QCOMPARE(changingCalls(*t.mac), QList<QStringList>({{QStringLiteral("rename"), uuid, expected}}));
            QVERIFY(!cell || shownName(cell) == expected);
            // The tool moved the mount point; the notices bring a listing with the tool's own name.
            QVERIFY2(t.waitForRow(expected, true, listings), qPrintable(expected));
            current = expected;
        }
        QVERIFY(first);

        t.mac->clearLog();
        // Eject. (A record without a UUID ejects nothing: TestDiskManagerEngine's.) The row stays until the
        // platform reports the volume gone.
        const QString projects = t.uuidOf("Projects");
        qsizetype listings = t.listed.size();
        click(t.button("Projects", "eject"));
        QVERIFY(waitUntil([&] { return !changingCalls(*t.mac).isEmpty(); }, 20000));
        QCOMPARE(changingCalls(*t.mac), QList<QStringList>({{QStringLiteral("eject"), projects}}));
        QVERIFY(t.row("Projects") >= 0);
        QVERIFY(t.waitForRow("Projects", false, listings));
        QCOMPARE(t.view.parTableView()->rowCount(), 4);
        QCOMPARE(t.view.selectIndex(), 0);

        // A busy volume: the refusal names the program and its process. Declined at either question,
        // nothing more runs; agreed to, the forced eject unmounts by force, then ejects.
        // (The renamed stick keeps its UUID.)
        QCOMPARE(t.mac->emuctl({"busy", "NEW", "2387", "/bin/zsh", "2386", "/usr/sbin/sshd"}).code, 0);
        const QStringList eject{"eject", uuid};
        const auto questionNamed = [&](const char* name) {
            return waitUntil(
                [&] { return t.view.ejectQuestion() && t.view.ejectQuestion()->objectName() == name; },
                20000);
        };
        t.mac->clearLog();
        listings = t.listed.size();
        for (const int agreed : {0, 1, 2}) { // questions agreed to
            click(t.button("NEW", "eject"));
            QVERIFY(questionNamed("volumeInUse"));
            QCOMPARE(t.view.ejectQuestion()->text(),
                     QStringLiteral("NEW is in use by zsh (process 2387). Quit it and try again."));
            if (agreed == 0) {
                click(t.view.ejectQuestion()->quietButton());
                continue;
            }
            click(t.view.ejectQuestion()->mainButton());
            QVERIFY(questionNamed("forceEject"));
            QCOMPARE(
                t.view.ejectQuestion()->text(),
                QStringLiteral("zsh (process 2387) still has files open on NEW. If you eject it now, open "
                               "files in zsh may lose unsaved data."));
            if (agreed == 2) {
                click(t.view.ejectQuestion()->mainButton());
                break;
            }
            t.shot("eject-force-question");
            QTest::keyClick(t.view.ejectQuestion()->mainButton(), Qt::Key_Return);
            click(t.view.ejectQuestion()->quietButton());
            QTest::qWait(300);
            QCOMPARE(changingCalls(*t.mac), QList<QStringList>({eject, eject}));
            QVERIFY(t.row("NEW") >= 0);
        }
        QVERIFY(waitUntil([&] { return changingCalls(*t.mac).size() == 5; }, 20000));
        QCOMPARE(changingCalls(*t.mac),
                 QList<QStringList>({eject, eject, eject, {"unmount", "force", uuid}, eject}));
        QVERIFY(t.waitForRow("NEW", false, listings));

        // A question about a volume that is pulled out closes (monkey seed 2, action 1055).
        QCOMPARE(t.mac->emuctl({"busy", "WINDOWS", "2387", "/bin/zsh", "2386", "/usr/sbin/sshd"}).code, 0);
        click(t.button("WINDOWS", "eject"));
        QVERIFY(questionNamed("volumeInUse"));
        const QPointer<QuestionPanel> question = t.view.ejectQuestion();
        QTest::qWait(500);
        QVERIFY(question && question->isVisible());
        // It closes as the volume goes, before the listing that follows is in.
        QVERIFY(t.mac->addFault(R"({"tool": "diskutil", "verb": "list", "mode": "hang", "seconds": 4})"));
        listings = t.listed.size();
        QVERIFY(t.mac->unplug(t.view.allVolumeArr().at(t.row("WINDOWS"))->parentWholeDisk()));
        QVERIFY(waitUntil([&] { return !question || !question->isVisible(); }, 2000));
        QCOMPARE(t.listed.size(), listings);
        QVERIFY(t.waitForRow("WINDOWS", false, listings));
    }

    void aPressThatAListingOvertakesActsOnNothing() {
        // A screen reader's press is a click a moment later. A listing that comes in between may
        // put another volume on the pressed row or take the row away: the click then acts on
        // nothing, neither on the row's new volume nor on the one the listing selected. (The rows'
        // order is the directory's, which differs from one machine to another.)
        const QMap<QString, QString> drives = {
            {"STICK", "stick"}, {"WINDOWS", "windows"}, {"Projects", "t5"}};
        for (const bool rowGoes : {false, true}) {
            Tab t;
            QVERIFY(t.open());
            const QStringList rows = namesOf(t.view.allVolumeArr());
            QCOMPARE(rows.size(), 5);
            QString pressed;
            QStringList pulled;
            if (rowGoes) {
                // The last drive, with every drive pulled: two rows stay, above it.
                for (const QString& name : rows)
                    if (drives.contains(name))
                        pressed = name;
                pulled = drives.keys();
                QVERIFY(t.row(pressed) >= 2);
            } else {
                // A drive with a row after it, and a drive listed before it to pull.
                for (int i = 1; i + 1 < rows.size() && pressed.isEmpty(); ++i)
                    for (int j = 0; j < i && drives.contains(rows[i]); ++j)
                        if (drives.contains(rows[j])) {
                            pressed = rows[i];
                            pulled = {rows[j]};
                            break;
                        }
            }
            QVERIFY2(!pressed.isEmpty(), qPrintable(rows.join(',')));
            const int pressedRow = t.row(pressed);
            QAbstractButton* eject = t.button(pressed, "eject");
            QAccessibleInterface* reader = QAccessible::queryAccessibleInterface(eject);
            QCOMPARE(reader->text(QAccessible::Name), "Eject " + pressed);
            const qsizetype listings = t.listed.size();
            reader->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
            // The listing is in before the click is handed out.
            for (const QString& name : pulled)
                QVERIFY(t.mac->unplug(drives.value(name)));
            t.view.getallVolumes();
            QVERIFY(workerPool()->waitForDone(20000));
            QVERIFY(t.waitForRow(pulled.first(), false, listings));
            if (rowGoes)
                QCOMPARE(t.view.parTableView()->rowCount(), 2);
            else
                QVERIFY2(shownName(t.view.cellAt(pressedRow)) == rows[pressedRow + 1],
                         qPrintable(rows.join(",") + " / " + namesOf(t.view.allVolumeArr()).join(",")));
            QTest::qWait(300);
            QCOMPARE(changingCalls(*t.mac), QList<QStringList>());
            if (rowGoes)
                continue;
            // Pressed now, the row's button ejects its volume.
            const QString uuid = t.uuidOf(pressed);
            click(t.button(pressed, "eject"));
            QVERIFY(waitUntil([&] { return !changingCalls(*t.mac).isEmpty(); }, 20000));
            QCOMPARE(changingCalls(*t.mac), QList<QStringList>({{QStringLiteral("eject"), uuid}}));
        }
    }

    void formatConfirmationListsOnlyWhatThatEraseDestroys() {
        Tab t(VolumesTestKit::machine("10.15.7", VolumesTestKit::twoVolumeDrive(),
                                      R"("system":{"size":"500GB","used":"12GB"})"));
        QVERIFY(t.open());
        // Each row names its drive (the texts' cases are the drive pickers').
        QCOMPARE(t.cell("WINDOWS")->driveLabel()->fullText(),
                 QString::fromUtf8("Samsung PSSD T7 Media · USB · 500.11 GB"));

        // A rename tells the name the volume will get before anything runs, in the error colour only
        // when nothing would run; so does the confirmation, for the type chosen in it. A refused
        // name keeps the field open, and leaving the field forgets the reason.
        const QString typed = QStringLiteral("MyVeryLongStickName2024");
        const QStringList hints = {
            "Will be named MYVERYLONGS: FAT32 names are at most 11 characters, in capitals", // FAT32
            "The name is too long: ExFAT volumes take at most 11 characters.",               // ExFAT
            "Will be named MyVeryLongStickName2024"};                                        // HFS+ or APFS
        for (const auto& [volume, hint] :
             {std::pair{"WINDOWS", 0}, std::pair{"Backup", 1}, std::pair{"Macintosh HD", 2}}) {
            DiskManagerCell* cell = t.startRename(volume, typed);
            QCOMPARE(cell->nameProblemLabel()->fullText(), hints[hint]);
            QCOMPARE(cell->nameProblemLabel()->styleSheet().contains("#e5534b"), hint == 1);
            if (hint == 1) {
                click(button(cell, "save"));
                QVERIFY(t.view.isRenameEdit() && cell->nameField()->isVisible());
                t.shot("rename-refused");
            }
            QVERIFY(cell->nameProblemLabel()->isVisible());
            t.clickRow(volume == QLatin1String("Backup") ? "WINDOWS" : "Backup");
            QVERIFY(!cell->nameProblemLabel()->isVisible());
        }
        QCOMPARE(changingCalls(*t.mac), QList<QStringList>());

        MakeSureFormatViewController* confirm = t.confirmFormatOf("WINDOWS");
        QVERIFY(confirm);
        QCOMPARE(confirm->lossView()->lines(),
                 QStringList({QStringLiteral("/dev/disk2s3"),
                              QString::fromUtf8("Samsung PSSD T7 Media · USB · 500.11 GB"),
                              QString::fromUtf8("• WINDOWS — 22.22 KB used"),
                              QStringLiteral("22.22 KB of data will be erased.")}));
        // The name the volume will get follows the typing and the type.
        QCOMPARE(confirm->nameHintLabel()->fullText(), QStringLiteral("Will be named WINDOWS"));
        retype(confirm->nameTextFiled, typed);
        QCOMPARE(confirm->nameHintLabel()->fullText(), hints[0]);
        // The menu's order: ExFAT, FAT32, Journaled HFS+. A name the type cannot take keeps the
        // confirmation open and says why.
        confirm->selectFormatbyType(0);
        QCOMPARE(confirm->nameHintLabel()->fullText(), hints[1]);
        click(confirm->okButton);
        QCOMPARE(t.view.makeSureFormatViewController(), confirm);
        QVERIFY(confirm->problemLabel->isVisible());
        QCOMPARE(confirm->problemLabel->text(), hints[1]);
        confirm->selectFormatbyType(2);
        QCOMPARE(confirm->nameHintLabel()->fullText(), hints[2]);
        t.shot("confirm-identity");
        // Return formats nothing.
        QVERIFY(!confirm->okButton->isDefault() && !confirm->okButton->autoDefault());
        QTest::keyClick(confirm->nameTextFiled, Qt::Key_Return);
        QTest::keyClick(confirm->okButton, Qt::Key_Return);
        QTest::qWait(200);
        QVERIFY(t.view.makeSureFormatViewController());
        QCOMPARE(changingCalls(*t.mac), QList<QStringList>());
        click(confirm->noButton);
    }
};

TAVRILL_TEST(TestDiskManagerWorkflow)

#include "tst_diskmanagerworkflow.moc"
