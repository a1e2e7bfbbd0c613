// The property-list reader with any bytes: XML, binary, text before the header, truncated and
// garbage. Whatever it reads must write out as XML that reads back to the same XML.
#include "FuzzSupport.h"

#include "core/PropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QVariant value = PropertyList::fromBytes(bytes);
    const std::optional<QVariantMap> dictionary = PropertyList::dictionaryFromBytes(bytes);
    fuzzCheck(dictionary.has_value() == (value.isValid() && value.typeId() == QMetaType::QVariantMap),
              "a dictionary is read exactly when the root is one");
    if (!value.isValid())
        return 0;
    const QByteArray xml = PropertyList::toXml(value);
    const QVariant again = PropertyList::fromBytes(xml);
    fuzzCheck(again.isValid(), "written XML reads back");
    fuzzCheck(PropertyList::toXml(again) == xml, "written XML reads back unchanged");
    return 0;
}
