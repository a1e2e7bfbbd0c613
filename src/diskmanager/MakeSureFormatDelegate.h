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
    // Asked before "Continue" goes on: why the name cannot be used with that type, or a null
    // string. The confirmation stays open and shows the answer.
    virtual QString formatNameProblem(const QString& name, const QString& type) {
        (void)name;
        (void)type;
        return QString();
    }
    // "Cancel".
    virtual void cancelFormatVoluem() {}
};
