#include "core/PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QSaveFile>
#include <QTimeZone>

#include <plist/plist.h>

#include <clocale>
#include <cstdlib>
#if defined(__APPLE__)
#include <xlocale.h>
#endif
#include <limits>
#include <memory>

namespace {

// Seconds between the Unix epoch and the property-list epoch, 2001-01-01 00:00:00 UTC.
constexpr qint64 kPlistEpochOffset = 978307200;

struct PlistDeleter {
    void operator()(plist_t p) const { plist_free(p); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// UTF-8 text libplist handed over in a buffer of its own, which is freed here.
QString takeText(char* text) {
    QString out = QString::fromUtf8(text);
    free(text);
    return out;
}

QVariant toVariant(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return QVariant(b != 0);
    }
    case PLIST_UINT: {
        uint64_t v = 0;
        plist_get_uint_val(node, &v);
        // Negative integers are stored as their 64-bit two's complement.
        return QVariant(static_cast<qint64>(v));
    }
    case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return QVariant(d);
    }
    case PLIST_STRING: {
        // Read with its length: a string may hold NUL bytes, which the copying accessor
        // refuses with an assertion.
        uint64_t length = 0;
        const char* s = plist_get_string_ptr(node, &length);
        return QVariant(QString::fromUtf8(s, s ? static_cast<qsizetype>(length) : 0));
    }
    case PLIST_KEY: {
        char* s = nullptr;
        plist_get_key_val(node, &s);
        return QVariant(takeText(s));
    }
    case PLIST_DATA: {
        char* d = nullptr;
        uint64_t len = 0;
        plist_get_data_val(node, &d, &len);
        QByteArray bytes(d, static_cast<qsizetype>(len));
        free(d);
        return QVariant(bytes);
    }
    case PLIST_DATE: {
        int32_t sec = 0;
        int32_t usec = 0;
        plist_get_date_val(node, &sec, &usec);
        const qint64 ms = (kPlistEpochOffset + sec) * 1000 + usec / 1000;
        return QVariant(QDateTime::fromMSecsSinceEpoch(ms, QTimeZone::utc()));
    }
    case PLIST_UID: {
        uint64_t v = 0;
        plist_get_uid_val(node, &v);
        return QVariant(static_cast<qint64>(v));
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t n = plist_array_get_size(node);
        list.reserve(n);
        for (uint32_t i = 0; i < n; ++i)
            list.append(toVariant(plist_array_get_item(node, i)));
        return QVariant(list);
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        for (;;) {
            char* key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, it, &key, &value);
            if (!key)
                break;
            map.insert(takeText(key), toVariant(value));
        }
        free(it);
        return QVariant(map);
    }
    default:
        return QVariant();
    }
}

plist_t fromVariant(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Long:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
        return plist_new_uint(static_cast<uint64_t>(value.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::ULong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return plist_new_uint(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), static_cast<uint64_t>(bytes.size()));
    }
    case QMetaType::QDateTime: {
        const qint64 ms = value.toDateTime().toMSecsSinceEpoch() - kPlistEpochOffset * 1000;
        const qint64 sec = ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
        return plist_new_date(static_cast<int32_t>(sec), static_cast<int32_t>((ms - sec * 1000) * 1000));
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        plist_t array = plist_new_array();
        for (const QVariant& item : value.toList())
            plist_array_append_item(array, fromVariant(item));
        return array;
    }
    case QMetaType::QVariantMap: {
        // QVariantMap iterates in key order; for the ASCII keys tools use that is byte order.
        plist_t dict = plist_new_dict();
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            plist_dict_set_item(dict, it.key().toUtf8().constData(), fromVariant(it.value()));
        return dict;
    }
    default:
        return plist_new_string(value.toString().toUtf8().constData());
    }
}

} // namespace

namespace PropertyList {

namespace {

// The C library's number formats for this thread while it lives. The property-list library
// reads and writes reals with strtod and printf, which follow the process's locale: under a
// comma-decimal one "0.5" would read as 0 and be written as "0,5".
class CNumbersOnThisThread {
public:
    CNumbersOnThisThread() {
        static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
        if (cLocale)
            m_previous = uselocale(cLocale);
    }
    ~CNumbersOnThisThread() {
        if (m_previous)
            uselocale(m_previous);
    }
    CNumbersOnThisThread(const CNumbersOnThisThread&) = delete;
    CNumbersOnThisThread& operator=(const CNumbersOnThisThread&) = delete;

private:
    locale_t m_previous = static_cast<locale_t>(nullptr);
};

} // namespace

// True when XML text holds a NUL, raw or as a character reference ("&#0;", "&#x00;"). No tool
// prints one, and the library stops the process on an assertion at a key that holds one (a
// string is read with its length, a key cannot be), so such text is taken as no property list.
static bool holdsNul(const QByteArray& xml) {
    if (xml.contains('\0'))
        return true;
    for (qsizetype at = xml.indexOf("&#"); at >= 0; at = xml.indexOf("&#", at + 2)) {
        qsizetype i = at + 2;
        if (i < xml.size() && (xml[i] == 'x' || xml[i] == 'X'))
            ++i;
        const qsizetype digits = i;
        while (i < xml.size() && xml[i] == '0')
            ++i;
        if (i > digits && i < xml.size() && xml[i] == ';')
            return true;
    }
    return false;
}

QVariant fromBytes(const QByteArray& bytes) {
    if (bytes.isEmpty() || bytes.size() > std::numeric_limits<int32_t>::max())
        return QVariant();
    const CNumbersOnThisThread cNumbers;
    QByteArray data = bytes;
    if (plist_is_binary(data.constData(), static_cast<uint32_t>(data.size()))) {
        // Binary input is read through its XML form, so that the same test for NULs applies.
        plist_t binary = nullptr;
        plist_from_bin(data.constData(), static_cast<uint32_t>(data.size()), &binary);
        if (!binary)
            return QVariant();
        PlistPtr binaryOwner(binary);
        char* xml = nullptr;
        uint32_t length = 0;
        plist_to_xml(binary, &xml, &length);
        data = QByteArray(xml, static_cast<qsizetype>(length));
        plist_to_xml_free(xml);
    }
    qsizetype start = data.indexOf("<?xml");
    if (start < 0)
        start = data.indexOf("<plist");
    if (start < 0)
        return QVariant();
    data = data.mid(start);
    if (holdsNul(data))
        return QVariant();
    plist_t root = nullptr;
    plist_from_xml(data.constData(), static_cast<uint32_t>(data.size()), &root);
    if (!root)
        return QVariant();
    PlistPtr owner(root);
    return toVariant(root);
}

std::optional<QVariantMap> dictionaryFromBytes(const QByteArray& bytes) {
    const QVariant root = fromBytes(bytes);
    if (root.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    return root.toMap();
}

std::optional<QVariantMap> readDictionary(const QString& hostPath) {
    if (hostPath.isEmpty())
        return std::nullopt;
    QFile file(hostPath);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return dictionaryFromBytes(file.readAll());
}

QByteArray toXml(const QVariant& value) {
    PlistPtr root(fromVariant(value));
    char* xml = nullptr;
    uint32_t length = 0;
    const CNumbersOnThisThread cNumbers;
    plist_to_xml(root.get(), &xml, &length);
    QByteArray out(xml, static_cast<qsizetype>(length));
    plist_to_xml_free(xml);
    return out;
}

bool writeDictionary(const QString& hostPath, const QVariantMap& dictionary) {
    QSaveFile file(hostPath);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray xml = toXml(QVariant(dictionary));
    if (file.write(xml) != xml.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

} // namespace PropertyList
