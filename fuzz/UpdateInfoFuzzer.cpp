// The update information file as the update service (or anyone between it and us) may send it:
// property lists of every shape, web pages, truncated and oversized files. Whatever is read stays
// within the list's bounds, and a file is usable exactly when it is a dictionary of bounded size.
#include "FuzzSupport.h"

#include "core/PropertyList.h"
#include "update/UpdateInfo.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const std::optional<UpdateInfo> info = UpdateInfoReader::read(bytes);
    const bool dictionary = bytes.size() <= UpdateInfoReader::kMaxFileBytes &&
                            PropertyList::dictionaryFromBytes(bytes).has_value();
    fuzzCheck(info.has_value() == dictionary,
              "a file is usable exactly when it is a dictionary of bounded size");
    if (!info)
        return 0;
    fuzzCheck(info->version.size() <= UpdateInfoReader::kMaxVersionChars, "the version text is bounded");
    fuzzCheck(info->lines.size() <= UpdateInfoReader::kMaxLines, "the number of lines is bounded");
    for (const QString& line : info->lines)
        fuzzCheck(line.size() <= UpdateInfoReader::kMaxLineChars, "each line is bounded");
    fuzzCheck(info->versionCheck == INT64_MIN || isNewerVersion(info, info->versionCheck - 1),
              "a build is newer than the one before it");
    fuzzCheck(!isNewerVersion(info, info->versionCheck), "a build is not newer than itself");
    return 0;
}
