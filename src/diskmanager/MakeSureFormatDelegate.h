#pragma once

#include <QString>

// What the format confirmation tells its owner (the Disk Manager).
class MakeSureFormatDelegate {
public:
    virtual ~MakeSureFormatDelegate() = default;
    // "Continue": the name field's text and the type label's text, exactly as shown.
    virtual void makeSureToFormatSelectVolumeWithName(const QString& name, const QString& type) {
        (void)name;
        (void)type;
    }
    // "Cancel".
    virtual void cancelFormatVoluem() {}
};
