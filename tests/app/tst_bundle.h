#pragma once

#include <QObject>

// The Mac bundle's Info.plist and icon as the build makes them: every key a Mac reads, the
// values CMake sets, and an icon in every size up to 1024 pixels.
class TestBundle : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void infoPlist();
    void iconSizes();
};
