#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// The one reader and writer of property lists (tool output, settings, the update file).
//
// Types are kept: integers as qint64, reals as double, booleans, strings, data as QByteArray,
// dates as QDateTime (UTC), arrays as QVariantList, dictionaries as QVariantMap.
namespace PropertyList {

// Any root object of XML or binary property-list bytes; an invalid QVariant when the bytes are
// not a property list. Text before the XML header (driver chatter some tools print first) is
// skipped.
QVariant fromBytes(const QByteArray& bytes);

// The root dictionary, or nothing for empty, garbage, truncated or non-dictionary input.
std::optional<QVariantMap> dictionaryFromBytes(const QByteArray& bytes);

// The same for a file given by its host path; a missing or unreadable file is no dictionary.
std::optional<QVariantMap> readDictionary(const QString& hostPath);

// XML property-list bytes for a value, dictionary keys in byte order, one tab per level.
QByteArray toXml(const QVariant& value);

// Writes a dictionary as XML to a temporary file beside the target, then renames it over the
// target, so readers see the old or the new file and never half of one.
bool writeDictionary(const QString& hostPath, const QVariantMap& dictionary);

// A dictionary's string, integer or boolean under a key; empty, 0 or false when it has none.
inline QString text(const QVariantMap& dictionary, const char* key) {
    return dictionary.value(QLatin1String(key)).toString();
}
inline qint64 number(const QVariantMap& dictionary, const char* key) {
    return dictionary.value(QLatin1String(key)).toLongLong();
}
inline bool flag(const QVariantMap& dictionary, const char* key) {
    return dictionary.value(QLatin1String(key)).toBool();
}

} // namespace PropertyList
