#include "EmuFileSystems.h"

#include <iterator>

namespace emu {

namespace {

// One row per file system as diskutil tells them apart. Names are matched in lower case;
// several are separated by '|'.
struct Row {
    const char* type;
    int fatBits;
    bool caseSensitive;
    const char* name;          // FilesystemName, diskutil's personality
    const char* visibleName;   // FilesystemUserVisibleName
    const char* mbrContent;    // partition type on MBR
    const char* gptContent;    // partition type on GPT and APM
    const char* formatNames;   // what diskutil's erase verbs take
    const char* scenarioNames; // what scenarios take besides the format names
    qint64 maxFileSize;        // the largest file the driver stores; 0 for no limit of note
    bool dosNames;             // names refuse control characters and " * / : < > ? \ |
};

constexpr qint64 kFat32MaxFile = 4294967295; // a 32-bit length field

// MBR has no type for APFS: an APFS partition there shows the default, DOS_FAT_32.
constexpr Row kRows[] = {
    {"hfs", 32, false, "Journaled HFS+", "Mac OS Extended (Journaled)", "Apple_HFS", "Apple_HFS",
     "jhfs+|hfs+|journaled hfs+", "hfs", 0, false},
    {"hfs", 32, true, "Case-sensitive Journaled HFS+", "Mac OS Extended (Case-sensitive, Journaled)",
     "Apple_HFS", "Apple_HFS", "jhfsx|hfsx|case-sensitive journaled hfs+|case-sensitive hfs+", "", 0, false},
    {"apfs", 32, false, "APFS", "APFS", "DOS_FAT_32", "Apple_APFS", "apfs|apfsi", "", 0, false},
    {"apfs", 32, true, "Case-sensitive APFS", "APFS (Case-sensitive)", "DOS_FAT_32", "Apple_APFS",
     "apfsx|case-sensitive apfs", "", 0, false},
    {"msdos", 32, false, "MS-DOS FAT32", "MS-DOS (FAT32)", "DOS_FAT_32", "Microsoft Basic Data",
     "fat32|ms-dos fat32|ms-dos", "msdos", kFat32MaxFile, true},
    {"msdos", 16, false, "MS-DOS FAT16", "MS-DOS (FAT16)", "DOS_FAT_16", "Microsoft Basic Data",
     "ms-dos fat16", "fat16", kFat32MaxFile, true},
    {"exfat", 32, false, "ExFAT", "ExFAT", "Windows_NTFS", "Microsoft Basic Data", "exfat", "", 0, true},
    {"ntfs", 32, false, "NTFS", "Windows NT File System (NTFS)", "Windows_NTFS", "Microsoft Basic Data", "",
     "ntfs", 0, false},
    {"", 32, false, "", "", "DOS_FAT_32", "Microsoft Basic Data", "free space|free", "", 0, false},
};
constexpr const Row& kHfs = kRows[0];
constexpr const Row& kNone = kRows[std::size(kRows) - 1];

bool listed(const char* names, const QString& lower) {
    return QString::fromLatin1(names).split(QLatin1Char('|'), Qt::SkipEmptyParts).contains(lower);
}

FileSystem fileSystemOf(const Row& r) {
    return FileSystem{QString::fromLatin1(r.type), r.fatBits, r.caseSensitive};
}

// The row that describes a partition's file system. Only FAT has widths and only HFS+ and
// APFS have case; a FAT width without a row of its own reads as the type's first row.
const Row& rowOf(const Partition& p) {
    const bool fat = p.fs == QLatin1String("msdos");
    const bool cased = p.fs == QLatin1String("hfs") || p.fs == QLatin1String("apfs");
    const Row* first = nullptr;
    for (const Row& r : kRows) {
        if (p.fs != QLatin1String(r.type))
            continue;
        if (!first)
            first = &r;
        if ((!fat || r.fatBits == p.fatBits) && (!cased || r.caseSensitive == p.caseSensitive))
            return r;
    }
    return first ? *first : kNone;
}

} // namespace

FileSystem scenarioFileSystem(const QString& name) {
    const QString lower = name.toLower();
    for (const Row& r : kRows) {
        if (listed(r.formatNames, lower) || listed(r.scenarioNames, lower))
            return fileSystemOf(r);
    }
    if (lower.contains(QLatin1String("hfs")))
        return fileSystemOf(kHfs);
    return FileSystem{};
}

std::optional<FileSystem> formatFileSystem(const QString& name) {
    const QString lower = name.toLower();
    for (const Row& r : kRows) {
        if (listed(r.formatNames, lower))
            return fileSystemOf(r);
    }
    return std::nullopt;
}

QString imageFileSystem(const QString& name) {
    const QString upper = name.toUpper();
    if (upper.isEmpty() || upper.contains(QLatin1String("APFS")))
        return QStringLiteral("apfs");
    if (upper == QLatin1String("EXFAT"))
        return QStringLiteral("exfat");
    if (upper.contains(QLatin1String("FAT")))
        return QStringLiteral("msdos");
    return QStringLiteral("hfs");
}

QString personalityName(const Partition& p) {
    return QString::fromLatin1(rowOf(p).visibleName);
}

QString filesystemName(const Partition& p) {
    return QString::fromLatin1(rowOf(p).name);
}

QString filesystemType(const Partition& p) {
    return p.fs;
}

QString partitionContent(const QString& scheme, const Partition& p) {
    if (p.fs == QLatin1String("apfs") && !p.role.isEmpty())
        return QString::fromLatin1(kApfsVolumeGUID);
    const Row& r = rowOf(p);
    return QString::fromLatin1(scheme == QLatin1String("MBR") ? r.mbrContent : r.gptContent);
}

namespace {

QByteArray dosRefused() {
    QByteArray refused;
    for (char c = 1; c < 0x20; ++c)
        refused += c;
    return refused + "\"*/:<>?\\|";
}

} // namespace

QString mountOptions(const Partition& p) {
    const Row& r = rowOf(p);
    QString options;
    if (r.maxFileSize > 0)
        options += QStringLiteral(",maxfilesize=") + QString::number(r.maxFileSize);
    if (r.dosNames)
        options += QStringLiteral(",badchars=") + QString::fromLatin1(dosRefused().toHex());
    // Everything a Mac mounts folds case but the case-sensitive HFS+ and APFS.
    if (p.hasVolume() && !p.caseSensitive)
        options += QStringLiteral(",casefold");
    return options;
}

bool refusesName(const Partition& p, const QString& name) {
    if (!rowOf(p).dosNames)
        return false;
    const QByteArray refused = dosRefused();
    for (const QChar c : name) {
        if (c.unicode() < 0x80 && refused.contains(char(c.unicode())))
            return true;
    }
    return false;
}

qint64 freshCapacity(const Partition& p) {
    return p.fs == QLatin1String("msdos") ? p.size - qMin<qint64>(p.size / 1000, 4 * 1048576) : p.size;
}

} // namespace emu
