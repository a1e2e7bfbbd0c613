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
    // Told as the name or the type changes: the name the volume will get and why it differs from
    // the typed text, or why it cannot be used (`refused`).
    virtual QString formatNameHint(const QString& name, const QString& type, bool* refused) {
        (void)name;
        (void)type;
        (void)refused;
        return QString();
    }
    // "Cancel".
    virtual void cancelFormatVoluem() {}
};
