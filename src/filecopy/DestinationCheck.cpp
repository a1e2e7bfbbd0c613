#include "filecopy/DestinationCheck.h"

#include "core/QvPublicUtilities.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/DiskArbitration.h"
#include "platform/Machine.h"

#include <QHash>

#include <memory>

namespace {

// Windows' rule, which FAT, ExFAT and NTFS follow: no control characters and none of these.
QString dosRefusedChars() {
    QString chars;
    for (char16_t c = 1; c < 0x20; ++c)
        chars += QChar(c);
    return chars + QStringLiteral("\"*/:<>?\\|");
}

class Walk {
public:
    Walk(const DestinationCheck::Rules& rules, bool sourceFoldsCase, const std::atomic<bool>* stop)
        : m_rules(rules), m_inside(rules.reachInside(sourceFoldsCase)), m_stop(stop) {}

    QList<DestinationCheck::Item> items;

    // The top level: wholly ticked items go into the copy folder, the ticked children of a
    // half-selected one too.
    void top(const FileNodeList& nodes) {
        Folder folder;
        for (const FileNodeRef& node : nodes) {
            if (stopped())
                return;
            if (node->state() == 1)
                wholeItem(folder, node->path(), node->name());
            else if (node->state() == 2)
                halfSelectedChildren(folder, node->children().toList());
        }
    }

private:
    // The names placed so far in one destination folder, by their case-folded form.
    using Folder = QHash<QString, QString>;

    bool stopped() const { return m_stop && m_stop->load(); }

    // Takes a name into a folder; false (and the item noted) when the volume cannot store it.
    bool place(Folder& folder, const QString& path, const QString& name) {
        for (const QChar c : name) {
            if (m_rules.refusedChars.contains(c)) {
                items.append({path, DestinationCheck::Problem::RefusedName});
                return false;
            }
        }
        if (!m_rules.foldsCase)
            return true;
        const QString folded = name.toCaseFolded();
        const auto found = folder.constFind(folded);
        if (found == folder.constEnd()) {
            folder.insert(folded, name);
            return true;
        }
        // The very same name is copied under another ("Report 1"); another case of it is not.
        if (*found == name)
            return true;
        items.append({path, DestinationCheck::Problem::CaseClash});
        return false;
    }

    void halfSelectedChildren(Folder& folder, const FileNodeList& children) {
        for (const FileNodeRef& child : children) {
            if (stopped())
                return;
            if (child->state() == 1) {
                wholeItem(folder, child->path(), child->name());
            } else if (child->state() == 2 && place(folder, child->path(), child->name())) {
                Folder inner;
                halfSelectedChildren(inner, child->children().toList());
            }
        }
    }

    void wholeItem(Folder& folder, const QString& path, const QString& name) {
        if (!place(folder, path, name))
            return;
        const ItemInfo info = readItemInfo(Machine::hostPath(path), false);
        if (!info.isDirectory) {
            tooLarge(path, info.dataLength);
            return;
        }
        if (!m_inside)
            return;
        DirectoryBatchReader reader(Machine::hostPath(path));
        if (reader.status() == DirectoryBatchReader::OpenStatus::Open)
            insideFolder(reader, path);
    }

    // A wholly ticked folder's entries, read from the disk.
    void insideFolder(DirectoryBatchReader& reader, const QString& path) {
        Folder folder;
        auto batch = std::make_unique<DirectoryBatch>();
        DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
        while (result == DirectoryBatchReader::ReadResult::Success && !stopped()) {
            result = reader.readBatch(*batch);
            for (int i = 0; i < batch->count; ++i) {
                const DirectoryEntry& entry = batch->entries[i];
                const QString name = entry.nameString();
                const QString child = path + QLatin1Char('/') + name;
                if (!place(folder, child, name))
                    continue;
                if (entry.isDirectory) {
                    DirectoryBatchReader inner(reader, entry.name);
                    if (inner.status() == DirectoryBatchReader::OpenStatus::Open)
                        insideFolder(inner, child);
                } else if (!entry.isSymbolicLink) {
                    tooLarge(child, entry.dataLength);
                }
            }
        }
    }

    void tooLarge(const QString& path, std::uint64_t size) {
        if (m_rules.maxFileSize >= 0 && size > std::uint64_t(m_rules.maxFileSize))
            items.append({path, DestinationCheck::Problem::TooLarge, size});
    }

    const DestinationCheck::Rules& m_rules;
    const bool m_inside;
    const std::atomic<bool>* m_stop;
};

} // namespace

QString DestinationCheck::Item::text() const {
    const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    switch (problem) {
    case Problem::TooLarge:
        return QStringLiteral("%1 (%2): too large for this drive")
            .arg(name, QvPublicUtilities::longlongConvertVolSpace(qint64(size)));
    case Problem::RefusedName:
        return QStringLiteral("%1: a character in the name is not allowed on this drive").arg(name);
    case Problem::CaseClash:
        return QStringLiteral("%1: another item has the same name in other letter case").arg(name);
    }
    return name;
}

DestinationCheck::Rules DestinationCheck::Rules::forFileSystem(const QString& type, bool caseSensitive) {
    Rules rules;
    const QString lower = type.toLower();
    const bool fat = lower == QLatin1String("msdos") ||
                     (lower.contains(QLatin1String("fat")) && lower != QLatin1String("exfat"));
    if (fat) {
        rules.maxFileSize = 4294967295; // FAT keeps a file's length in 32 bits
        rules.refusedChars = dosRefusedChars();
        rules.foldsCase = true;
        rules.fileSystemName = QStringLiteral("FAT32");
    } else if (lower == QLatin1String("exfat") || lower == QLatin1String("ntfs")) {
        rules.refusedChars = dosRefusedChars();
        rules.foldsCase = true;
        rules.fileSystemName =
            lower == QLatin1String("exfat") ? QStringLiteral("ExFAT") : QStringLiteral("NTFS");
    } else if (lower == QLatin1String("hfs") || lower == QLatin1String("apfs")) {
        rules.foldsCase = !caseSensitive;
        rules.fileSystemName =
            lower == QLatin1String("hfs") ? QStringLiteral("Mac OS Extended") : QStringLiteral("APFS");
    }
    return rules;
}

DestinationCheck::Rules DestinationCheck::rulesForVolume(const QString& volumePath) {
    const FileSystemInfo info = DiskArbitration::fileSystemInfo(volumePath);
    return Rules::forFileSystem(info.type, info.caseSensitive);
}

bool DestinationCheck::foldsCase(const QString& path) {
    const FileSystemInfo info = DiskArbitration::fileSystemInfoForItem(path);
    return info.found && !info.caseSensitive;
}

QList<DestinationCheck::Item> DestinationCheck::check(const FileNodeList& top, const Rules& rules,
                                                      bool sourceFoldsCase, const std::atomic<bool>* stop) {
    Walk walk(rules, sourceFoldsCase, stop);
    walk.top(top);
    return walk.items;
}

QSet<QString> DestinationCheck::pathsOf(const QList<Item>& items) {
    QSet<QString> paths;
    for (const Item& item : items)
        paths.insert(item.path);
    return paths;
}
