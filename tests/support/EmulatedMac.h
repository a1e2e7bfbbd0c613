#pragma once

#include <QByteArray>
#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>

#include <memory>

// An emulated Mac built by mkmachine for one test, set as the Machine's root for as long as
// the object lives. Scenarios are the files of emulator/scenarios (by name) or JSON text.
class EmulatedMac {
public:
    struct Run {
        QByteArray out;
        QByteArray err;
        int code = -1;
    };

    // Builds from emulator/scenarios/<name>.json.
    static std::unique_ptr<EmulatedMac> fromScenario(const QString& name);
    // Builds from a scenario given as JSON text.
    static std::unique_ptr<EmulatedMac> fromJson(const QByteArray& scenario);
    ~EmulatedMac();
    EmulatedMac(const EmulatedMac&) = delete;
    EmulatedMac& operator=(const EmulatedMac&) = delete;

    bool isValid() const { return m_valid; }
    // What mkmachine said when it failed.
    QString error() const { return m_error; }
    QString root() const { return m_dir.path(); }
    QString host(const QString& macPath) const;

    // Runs one of the machine's tools ("diskutil", "asr", ...) with the given arguments, the
    // way the system starts them, and answers what it printed.
    Run run(const QString& tool, const QStringList& args, const QByteArray& input = {},
            int timeoutMs = 60000) const;
    Run emuctl(const QStringList& args) const { return run(QStringLiteral("emuctl"), args); }
    // What the disk tool answers right now, as the program would read it: `diskutil info -plist
    // ARG` (device node, identifier, mount point, name or UUID) and `diskutil list -plist
    // [filters]`. Empty when the answer is no property list.
    QVariantMap diskInfo(const QString& arg) const;
    QVariantMap diskList(const QStringList& filters = {}) const;

    // Every call the tools received, oldest first, as the argument lists the emulator logged:
    // {tool, arg1, arg2, ...}. `tool` filters.
    QList<QStringList> calls(const QString& tool = {}) const;
    // The process ids of those calls that are still running, oldest first.
    QList<qint64> runningCallPids(const QString& tool = {}) const;
    // What a tool logged besides its calls ("end"), oldest first.
    QStringList events(const QString& tool) const;
    // The calls that ran as root (through an approved administrator dialog).
    QList<QStringList> rootCalls(const QString& tool = {}) const;
    // The same calls as space-joined lines ("diskutil info -plist /"), for the benchmarks to
    // replay through the shell runner. Tests compare calls(), never these.
    QStringList commandLines(const QString& tool = {}) const;
    void clearLog() const;

    QByteArray mountTable() const;
    // Plugs a disk described as in a scenario; answers its BSD name.
    QString plug(const QByteArray& diskJson) const;
    bool unplug(const QString& disk) const { return emuctlOk({QStringLiteral("unplug"), disk}); }
    bool addFault(const QByteArray& json) const {
        return emuctlOk({QStringLiteral("fault"), QString::fromUtf8(json)});
    }
    bool setAsr(const QString& key, const QString& jsonValue) const {
        return emuctlOk({QStringLiteral("asr"), key, jsonValue});
    }
    // How the machine answers the administrator dialog: "approve", "deny" or "cancel".
    bool setAuthorization(const QString& answer) const {
        return emuctlOk({QStringLiteral("authorize"), answer});
    }
    // The environment of a tool that runs as root on the emulated Mac.
    static QProcessEnvironment rootEnvironment();
    // The processes of one of the machine's tools ("asr") that are running now.
    QList<qint64> runningTools(const QString& tool) const;

    // Writes the files inside a disk image (Mac path) into a host folder.
    bool extractImage(const QString& macImage, const QString& hostFolder) const {
        return emuctlOk({QStringLiteral("image-extract"), host(macImage), hostFolder});
    }

private:
    bool emuctlOk(const QStringList& args) const { return emuctl(args).code == 0; }
    explicit EmulatedMac(const QByteArray& scenario);
    QTemporaryDir m_dir;
    QString m_previousRoot;
    QString m_error;
    bool m_valid = false;
};
