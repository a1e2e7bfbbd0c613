#include "DiskManagerTestKit.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "core/QvLog.h"
#include "diskmanager/DiskManagerEngine.h"
#include "diskmanager/VolumeOperations.h"

#include <QDir>
#include <QDirIterator>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>

using namespace DiskManagerTestKit;
using namespace VolumesTestKit;

namespace {

QString str(const QVariantMap& info, const char* key) {
    return info.value(QLatin1String(key)).toString();
}

qint64 num(const QVariantMap& info, const char* key) {
    return info.value(QLatin1String(key)).toLongLong();
}

// The lines of the diagnostic log without their time stamps. Call QvUninitLog() first so the log
// is opened on the test's machine.
QStringList logLines(const EmulatedMac& mac) {
    QStringList lines;
    for (const QByteArray& line : readHostFile(mac.host("/tmp/Pellory.txt")).split('\n')) {
        if (line.size() > 21)
            lines << QString::fromUtf8(line.mid(21));
    }
    return lines;
}

// Files a command smuggled into a name would have made, anywhere the shell could have run.
QStringList strayFiles(const EmulatedMac& mac) {
    QStringList found;
    for (const QString& folder : {mac.root(), QDir::currentPath()}) {
        QDirIterator it(folder, {QStringLiteral("pwned*")}, QDir::Files | QDir::Hidden | QDir::System,
                        QDirIterator::Subdirectories);
        while (it.hasNext())
            found << it.next();
    }
    return found;
}

} // namespace

// The Disk Manager's listing and volume operations without widgets, against emulated Macs.
class TestDiskManagerEngine : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void listingRenamesAndFormatsOnOneMachine() {
        auto mac = managerMachine();
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        // Entries of "/Volumes/" that are no volumes.
        QVERIFY(writeHostFile(mac->host("/Volumes/.DS_Store"), QByteArray()));
        QVERIFY(QDir().mkpath(mac->host("/Volumes/(null)")));
        mac->clearLog();

        const VolumeObjList list = DiskManagerEngine::listVolumes();
        // One lookup per mounted volume, by BSD name (in the folder's order); then the drives are
        // looked up, starting with the disk layout.
        QList<QStringList> calls = diskutilCalls(*mac);
        const qsizetype drives = calls.indexOf(QStringList({"list", "-plist"}));
        QCOMPARE(drives, 6);
        calls = calls.mid(0, drives);
        std::sort(calls.begin(), calls.end());
        QList<QStringList> lookups;
        for (const char* bsd : {"disk1s5", "disk2s2", "disk3s1", "disk4s1", "disk6s1", "disk7s1"})
            lookups << QStringList{"info", "-plist", bsd};
        QCOMPARE(calls, lookups);

        // Each record holds what the tool answered for its volume; the stick named "EFI" is mounted
        // but never listed. An APFS volume reports no free bytes of its own: the container's are shown.
        QCOMPARE(num(mac->diskInfo("/Volumes/Projects"), "FreeSpace"), 0);
        QStringList records;
        for (const VolumeObjRef& v : list) {
            const QVariantMap info = mac->diskInfo(v->volRootDir());
            QCOMPARE(v->diskUUID(), str(info, "VolumeUUID"));
            QCOMPARE(v->volumeTotalSizeNum(), num(info, "TotalSize"));
            QCOMPARE(v->volumePath(), v->volRootDir());
            records << QStringLiteral("%1|%2|%3|%4|%5|%6|%7|%8/%9")
                           .arg(v->volumeName(), v->volRootDir(), v->volumeMountPoint(), v->parentWholeDisk(),
                                v->BusProtocol(), v->bCanEject() ? "ejectable" : "fixed", v->diskType(),
                                v->volumeFreeSize(), v->volumeTotalSize());
        }
        records.sort();
        const QStringList expected = {
            "Data|/dev/disk2s2|/Volumes/Data|disk2|SATA|fixed|Journaled HFS+|1.36 TB/2.00 TB",
            "Macintosh HD|/dev/disk1s5|/|disk1|PCI-Express|fixed|APFS|318.07 GB/500.07 GB",
            "Projects|/dev/disk6s1|/Volumes/Projects|disk6|USB|ejectable|APFS|487.79 GB/499.79 GB",
            "STICK|/dev/disk3s1|/Volumes/STICK|disk3|USB|ejectable|MS-DOS FAT32|16.00 GB/16.00 GB",
            "WINDOWS|/dev/disk4s1|/Volumes/WINDOWS|disk4|USB|ejectable|NTFS|2.00 TB/2.00 TB",
        };
        QCOMPARE(records, expected);

        // Only a plain "APFS" with nothing free borrows the container's figure.
        const auto freeOf = [](const char* fileSystem, qint64 free) {
            const QVariantMap info{
                {"FilesystemName", fileSystem}, {"FreeSpace", free}, {"APFSContainerFree", 5000}};
            return DiskManagerEngine::volumeFromInfo(info)->volumeFreeSizeNum();
        };
        QCOMPARE((QList<qint64>{freeOf("APFS", 0), freeOf("Case-sensitive APFS", 0), freeOf("APFS", 100)}),
                 (QList<qint64>{5000, 0, 100}));

        // A volume looked up again (two entries of "/Volumes/" on one device) is not listed twice;
        // a device the tool does not know (gone since the folder was read) adds nothing.
        VolumeObjList found = list;
        for (const char* bsd : {"disk3s1", "disk77s3"})
            DiskManagerEngine::getVolumeAllObjWithVolumeName(QString::fromLatin1(bsd), found);
        QCOMPARE(namesOf(found), namesOf(list));

        // Renames and formats of the listed records run one literal tool line each.
        const VolumeObjRef stick = volumeNamed(list, "STICK");
        const VolumeObjRef data = volumeNamed(list, "Data");
        const VolumeObjRef projects = volumeNamed(list, "Projects");
        QVERIFY(stick && data && projects);
        const QString projectsUuid = projects->diskUUID();

        mac->clearLog();
        QvUninitLog();
        QVERIFY(VolumeOperations::renameVolume(*stick, "my backup disk").succeeded);
        QCOMPARE(diskutilCalls(*mac), QList<QStringList>({{"rename", stick->diskUUID(), "MY BACKUP D"}}));
        // The tool's answer went into the Disk Manager's runner file, whose path is logged.
        const QString runnerFile = mac->host("/tmp/BrindleRepairTemp.plist");
        QVERIFY(readHostFile(runnerFile).contains("renamed to MY BACKUP D"));
        QCOMPARE(logLines(*mac), QStringList({QStringLiteral(" rename : %1 ").arg(runnerFile)}));
        QCOMPARE(stick->volumeName(), QStringLiteral("MY BACKUP D"));

        // General branch, FAT32 chosen: the FAT32 name rule applies.
        mac->clearLog();
        QVERIFY(VolumeOperations::formatVolume(*stick, "usb key", "MS-DOS FAT32").succeeded);
        QCOMPARE(changingCalls(*mac),
                 QList<QStringList>({{"eraseVolume", "MS-DOS FAT32", "USB KEY", "/dev/disk3s1"}}));
        const QString eraseFile = mac->host("/tmp/eraserVolumeTemp.plist");
        QVERIFY(readHostFile(eraseFile).contains("Finished erase on"));
        QCOMPARE(logLines(*mac).mid(1),
                 QStringList({QStringLiteral(" 1 "), QStringLiteral(" rename : %1 ").arg(eraseFile),
                              QStringLiteral("format volume : USB KEY")}));

        // A rename the tool refuses leaves the record as it was and says what went wrong; a format
        // whose rename is refused reformats nothing.
        QVERIFY(mac->addFault(R"({"tool": "diskutil", "verb": "rename", "mode": "fail", "times": 2})"));
        mac->clearLog();
        const VolumeOperations::Outcome refused = VolumeOperations::renameVolume(*data, "Archive");
        QVERIFY(refused.ran && !refused.succeeded);
        QCOMPARE(refused.message, QStringLiteral("The disk tool ended with status 1."));
        QCOMPARE(data->volumeName(), QStringLiteral("Data"));
        QCOMPARE(str(mac->diskInfo(data->diskUUID()), "VolumeName"), QStringLiteral("Data"));
        const VolumeOperations::Outcome notRenamed =
            VolumeOperations::formatVolume(*projects, "Work 2026", "ExFAT");
        QVERIFY(notRenamed.ran && !notRenamed.succeeded);
        QCOMPARE(changingCalls(*mac), QList<QStringList>({{"rename", data->diskUUID(), "Archive"},
                                                          {"rename", projectsUuid, "Work 2026"}}));

        // APFS: the chosen type is not used; the volume stays APFS, renamed and then reformatted.
        mac->clearLog();
        QVERIFY(VolumeOperations::formatVolume(*projects, "Work 2026", "ExFAT").succeeded);
        QCOMPARE(changingCalls(*mac),
                 QList<QStringList>({{"rename", projectsUuid, "Work 2026"}, {"reformat", "/dev/disk6s1"}}));
        QVERIFY(readHostFile(mac->host("/tmp/BrindleChangeNameTemp.plist")).contains("renamed to Work 2026"));

        // A record without a UUID ejects nothing.
        VolumeObj unnamed = *data;
        unnamed.setDiskUUID(QString());
        mac->clearLog();
        QVERIFY(!VolumeOperations::ejectVolume(unnamed).ran);
        QVERIFY(!VolumeOperations::forceEjectVolume(unnamed).ran);
        QCOMPARE(diskutilCalls(*mac), QList<QStringList>());

        // Hostile names reach the tool literally, as one argument each (the whole call list is
        // compared), and run nothing else.
        const QString dataUuid = data->diskUUID();
        const QStringList names = {
            QStringLiteral("say \"hi\""),        QStringLiteral("$HOME"),
            QStringLiteral("`touch pwned1`"),    QStringLiteral("$(touch pwned2)"),
            QStringLiteral("back\\slash\\"),     QStringLiteral("a\\\"; touch pwned3; echo \\\""),
            QStringLiteral("'single' & *glob?"), QStringLiteral("; touch pwned4 #"),
            QStringLiteral("!! $$ ${PATH}"),     QStringLiteral("dollar$"),
            QString::fromUtf8("Données d'été"),  QString::fromUtf8("Диск Копия"),
            QString::fromUtf8("数据备份"),       QString::fromUtf8("ディスク\"$`\\"),
            QStringLiteral("<key> & <b>"),
        };
        for (const QString& name : names) {
            mac->clearLog();
            VolumeObj volume = *data;
            QVERIFY2(VolumeOperations::renameVolume(volume, name).succeeded, qPrintable(name));
            QCOMPARE(diskutilCalls(*mac), QList<QStringList>({{QStringLiteral("rename"), dataUuid, name}}));
            QCOMPARE(str(mac->diskInfo(dataUuid), "VolumeName"), name);
        }
        // Formatting takes such names as literally.
        for (const QString& name :
             {QStringLiteral("x\"$(touch pwned5)\""), QString::fromUtf8("`touch pwned6` Ωmega")}) {
            mac->clearLog();
            QVERIFY2(VolumeOperations::formatVolume(*data, name, "Journaled HFS+").succeeded,
                     qPrintable(name));
            QCOMPARE(diskutilCalls(*mac),
                     QList<QStringList>({{"eraseVolume", "Journaled HFS+", name, "/dev/disk2s2"}}));
            QCOMPARE(str(mac->diskInfo("/dev/disk2s2"), "VolumeName"), name);
        }
        QCOMPARE(strayFiles(*mac), QStringList());

        // Listing in the background is guarded: a second request while one runs is ignored (what a
        // tab makes of that is TestDiskManagerWorkflow::listingRenamingAndEjectingFromTheRows's). Cleared
        // by force (as after a format), the flag lets a second listing start; the first one's list
        // is then dropped and only the newest is taken.
        DiskManagerEngine engine;
        QSignalSpy started(&engine, &DiskManagerEngine::listingStarted);
        QSignalSpy finished(&engine, &DiskManagerEngine::listingFinished);
        mac->run("diskutil", {"unmount", "/Volumes/USB KEY"});
        QVERIFY(engine.getallVolumes());
        QVERIFY(engine.isScanV() && !engine.getallVolumes());
        engine.setScanV(false);
        QVERIFY(engine.getallVolumes());
        QCOMPARE(started.size(), 2);
        QVERIFY(waitUntil([&] { return finished.size() == 1; }, 20000));
        QTest::qWait(300);
        QCOMPARE(finished.size(), 1);
        QVERIFY(!engine.isScanV());
        QCOMPARE(engine.allVolumeArr().size(), 4);
        QVERIFY(!volumeNamed(engine.allVolumeArr(), QStringLiteral("USB KEY")));
    }

    void fat32NameRule_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("name");
        const auto row = [](const char* tag, const char* typed, const char* name) {
            QTest::newRow(tag) << QString::fromUtf8(typed) << QString::fromUtf8(name);
        };
        row("upper-cased and cut to 11", "my backup disk", "MY BACKUP D");
        row("short names stay whole", "usb", "USB");
        row("accents are upper-cased", "données été", "DONNÉES ÉTÉ");
        row("U+4E00 is not in the range", "一abc", "一ABC");
        row("U+4E01 is", "a丁b", "NEW");
        row("U+9FFE is", "x鿾", "NEW");
        row("U+9FFF is not", "x鿿", "X鿿");
        row("a long Chinese name", "我的备份磁盘", "NEW");
    }

    void fat32NameRule() {
        QFETCH(QString, typed);
        QFETCH(QString, name);
        QCOMPARE(VolumeOperations::fat32Name(typed), name);
    }

    void namesThatCannotBeUsedRunNothing_data() {
        QTest::addColumn<QString>("volume");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("type"); // empty: a rename
        QTest::addColumn<QString>("problem");
        const auto row = [](const char* tag, const char* volume, const QString& name, const char* type,
                            const char* problem) {
            QTest::newRow(tag) << QString::fromLatin1(volume) << name << QString::fromLatin1(type)
                               << QString::fromUtf8(problem);
        };
        const QString longName(256, QLatin1Char('n'));
        row("FAT32 refused character", "STICK", "PHOTOS*2026", "",
            "MS-DOS FAT32 volumes cannot have “*” in their name.");
        row("FAT32 chosen in the confirmation", "Data", "a+b", "MS-DOS FAT32",
            "MS-DOS FAT32 volumes cannot have “+” in their name.");
        // ExFAT's length limit: TestDiskManagerWorkflow::formatConfirmationListsOnlyWhatThatEraseDestroys.
        row("exFAT refused character", "STICK", "a:b", "ExFAT",
            "ExFAT volumes cannot have “:” in their name.");
        row("HFS+ too long", "Data", longName, "",
            "The name is too long: Journaled HFS+ volumes take at most 255 bytes.");
        row("HFS+ refused character", "Data", "2026:11", "Journaled HFS+",
            "Journaled HFS+ volumes cannot have “:” in their name.");
        row("APFS too long", "Projects", longName, "APFS",
            "The name is too long: APFS volumes take at most 255 bytes.");
        row("APFS refused character", "Projects", "a:b", "", "APFS volumes cannot have “:” in their name.");
        row("APFS without a name", "Projects", " ", "APFS", "Type a name for the volume.");
        row("longer than the command line", "Data", QString(120, QLatin1Char('d')), "",
            "The name is too long for the disk tool.");
    }

    void namesThatCannotBeUsedRunNothing() {
        QFETCH(QString, volume);
        QFETCH(QString, name);
        QFETCH(QString, type);
        QFETCH(QString, problem);
        auto mac = managerMachine();
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const VolumeObjRef target = volumeNamed(DiskManagerEngine::listVolumes(), volume);
        QVERIFY(target);
        mac->clearLog();
        VolumeOperations::Outcome outcome;
        if (type.isEmpty()) {
            QCOMPARE(VolumeOperations::checkRenameName(*target, name).problem, problem);
            outcome = VolumeOperations::renameVolume(*target, name);
            QCOMPARE(target->volumeName(), volume);
        } else {
            QCOMPARE(VolumeOperations::checkFormatName(*target, name, type).problem, problem);
            outcome = VolumeOperations::formatVolume(*target, name, type);
        }
        QVERIFY(!outcome.ran && !outcome.succeeded);
        QCOMPARE(outcome.message, problem);
        QCOMPARE(diskutilCalls(*mac), QList<QStringList>());
    }
};

TAVRILL_TEST(TestDiskManagerEngine)

#include "tst_diskmanagerengine.moc"
