#pragma once

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

class EmulatedMac;

// What the monkey knows of the emulated Mac, read from the machine's own files: its disks and
// volumes, the tool calls Tavrill made since the last look, and the user's confirmations. It
// judges each destructive call against the confirmations, and at the end compares what nobody
// agreed to change with a copy taken at the start.
class MachineWatch {
public:
    explicit MachineWatch(const EmulatedMac& mac);

    // One volume or whole disk as the machine's state holds it.
    struct Volume {
        QString id;   // disk3s1, or disk3 for a whole disk
        QString disk; // the whole disk it is on
        QString name; // volume name, or the drive's model for a whole disk
        QString uuid, diskUUID, mountPoint, fs;
        bool mounted = false;
        bool whole = false;
        QString image; // the image file a disk comes from
    };
    QList<Volume> volumes() const;

    // Copies every mounted volume's files aside (the start of the run).
    bool snapshot(const QString& folder);

    // A click on a confirming control with the texts it was given in: records every volume those
    // texts name (a whole drive when only its model is named) as agreed to, for the next
    // `validFor` actions. Answers the ids recorded.
    QStringList confirm(const QString& context, int action, int validFor);

    // New tool calls since the last look; answers one line for each destructive call without a
    // confirmation for its target, and counts the destructive calls seen.
    QStringList checkNewCalls(int action);
    int destructiveCalls() const { return m_destructive; }

    // The end: tools still running, images attached that were not at the start, and every volume
    // of the start that was never confirmed and is still there: same name, file system, mount
    // point and files. One line per difference.
    QStringList endProblems(const QList<qint64>& runningTools) const;
    // Whether a volume id was confirmed at any time.
    bool everConfirmed(const QString& id) const { return m_everConfirmed.contains(id); }

private:
    QJsonObject readState() const;
    QList<Volume> volumesOf(const QJsonObject& state) const;
    // The volume a destructive call names (identifier, UUID, device node, mount point or a path
    // inside it), in the state now or the one before the call.
    const Volume* resolve(const QString& target, const QList<Volume>& a, const QList<Volume>& b) const;

    const EmulatedMac& m_mac;
    qint64 m_logOffset = 0;
    QList<Volume> m_lastVolumes;
    QList<Volume> m_seen; // every volume the machine has had
    QSet<QString> m_seenKeys;
    QList<Volume> m_start;
    QSet<QString> m_startImages;
    QString m_snapshotFolder;
    // Confirmed volume and disk ids, each with the last action it is valid for.
    QMap<QString, int> m_confirmed;
    QSet<QString> m_everConfirmed;
    int m_destructive = 0;
};
