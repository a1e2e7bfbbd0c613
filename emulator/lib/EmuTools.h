#pragma once

#include "EmuMachine.h"

#include <QByteArray>
#include <QStringList>

namespace emu {

// What a tool prints and how it ends; written out by the dispatcher after fault knobs had
// their say. Tools that stream (asr) write directly instead.
struct Output {
    QByteArray out;
    QByteArray err;
    int code = 0;
    void line(const QString& s) { out += s.toUtf8() + '\n'; }
    void error(const QString& s) { err += s.toUtf8() + '\n'; }
    void write(const QByteArray& b) { out += b; }
    // A line on standard error, ending the tool with `status`; answers the status.
    int fail(const QString& s, int status = 1) {
        error(s);
        code = status;
        return status;
    }
};

// Writes all of `bytes` to a file descriptor (a pipe may take them in pieces).
void writeAll(int fd, const QByteArray& bytes);
// The value that follows option `name` in `args` ("-size", "2g"); empty when there is none.
QString option(const QStringList& args, const QString& name);

int diskutilMain(MachineState& m, const QStringList& args, Output& o);
int hdiutilMain(MachineState& m, const QStringList& args, Output& o);
int asrMain(MachineState& m, const QStringList& args); // streams to stdout
int swVersMain(MachineState& m, const QStringList& args, Output& o);
int killallMain(MachineState& m, const QStringList& args, Output& o);
int zipMain(MachineState& m, const QStringList& args);        // runs the host's zip
int caffeinateMain(MachineState& m, const QStringList& args); // waits, then logs its end
// osascript, for "do shell script ... with administrator privileges" only: answers the
// administrator dialog as the machine's "authorization" knob says and runs the script as root.
int osascriptMain(MachineState& m, const QStringList& args);
int emuctlMain(const QStringList& args);
int mkmachineMain(const QStringList& args);

// Runs the tool named `tool` (argv[0]'s base name) with its arguments on the machine found at
// `root`: logs the call, applies fault knobs, and answers the exit status.
int dispatchTool(const QString& root, const QString& tool, const QStringList& args);

// Disk images: the image file holds a header and an archive of the volume's files, padded to
// the image's capacity as a sparse file.
struct ImageHeader {
    QString volumeName;
    QString fs = QStringLiteral("hfs");
    qint64 capacity = 0;
    QString format = QStringLiteral("UDRW");
};
bool readImageHeader(const QString& hostImage, ImageHeader* header);
bool writeImage(const QString& hostImage, const ImageHeader& header, const QString& hostFolder,
                QString* error);
bool extractImage(const QString& hostImage, const QString& hostFolder, QString* error);
// When an image's disk goes away (its volumes already unmounted), its volume's files are
// written back into the image file.
void saveImageContent(MachineState& m, Disk& d);

} // namespace emu
