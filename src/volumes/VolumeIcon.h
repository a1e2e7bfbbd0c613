#pragma once

#include "volumes/VolumeObj.h"

#include <QString>

// The artwork that stands for a volume in the drive lists: "ic_usb" for every drive that can be
// ejected, "ic_os" for the internal volume mounted at "/", "ic_disk" otherwise; `selected`
// (the chosen or hovered row) gives the "_sel" form.
inline QString volumeIconName(const VolumeObj& volume, bool selected) {
    QString name = QStringLiteral("ic_disk");
    if (volume.bCanEject())
        name = QStringLiteral("ic_usb");
    else if (volume.volumeMountPoint() == QLatin1String("/"))
        name = QStringLiteral("ic_os");
    return selected ? name + QStringLiteral("_sel") : name;
}
