#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

// One running copy of the program per user, keyed by the bundle identifier. The first copy
// listens on a local socket named after the identifier; a later copy connects, asks the first
// to come forward and then quits without showing anything.
//
// Where the socket lives: on the real machine the name is "<identifier>.<user id>" in the
// user's temporary folder (per user on macOS; the user id keeps users apart on shared /tmp
// systems). On an emulated Mac (the development setting TAVRILL_MACHINE_ROOT) the socket is
// the file /tmp/<identifier>.instance inside that machine's folder, so each emulated Mac has
// its own first copy and tests never meet a copy a developer is running.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(const QString& bundleIdentifier, QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when another copy already runs; it has been asked to come forward. False when this
    // copy is the first one: it now listens for later copies.
    bool checkAndClaim();
    bool isListening() const;

    // The local socket name (or path) for an identifier, as described above.
    static QString serverNameFor(const QString& bundleIdentifier);

Q_SIGNALS:
    // A later copy asked this one to come to the front.
    void bringToFrontRequested();

private:
    bool askRunningCopy();
    bool listen();
    void acceptConnections();

    QString m_name;
    QLocalServer* m_server = nullptr;
};
