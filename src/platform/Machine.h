#pragma once

#include <QProcessEnvironment>
#include <QString>

// The one door to the file system and to the tools.
//
// Every fixed path in Tavrill ("/Volumes", "/tmp/Pellory.txt", "/usr/sbin/diskutil") and every
// path a tool prints is a Mac path. Code keeps Mac paths and converts one to a host path only
// where it touches the file system. On a real Mac the root is empty and the conversion is the
// identity; during development the root is an emulated Mac, a folder whose usr/sbin and usr/bin
// hold emulated tools.
class Machine {
public:
    // The emulated Mac's folder, or an empty string on the real machine.
    static QString root();
    static void setRoot(const QString& hostFolder);
    // Reads the development setting TAVRILL_MACHINE_ROOT; unset or empty means the real machine.
    static void initFromEnvironment();
    static bool isEmulated() { return !root().isEmpty(); }

    // Mac path -> host path. Relative paths are returned unchanged.
    static QString hostPath(const QString& macPath);
    // Host path -> Mac path: the inverse for paths that come back from host calls. A host path
    // outside the root is returned unchanged.
    static QString macPath(const QString& hostPath);

    // The environment tools run in: PATH starts with <root>/usr/sbin:<root>/usr/bin.
    static QProcessEnvironment toolEnvironment();

    // The user's temporary directory as a Mac path (no trailing slash).
    static QString temporaryDirectory();

    // The short name of the logged-in user.
    static QString userName();
};
