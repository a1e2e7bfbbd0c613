#include "platform/gui/SingleInstance.h"

#include "platform/Machine.h"

#include <QLocalServer>
#include <QLocalSocket>

#include <unistd.h>

namespace {

// What a later copy sends; the first copy answers with the same word once it has acted.
constexpr char kBringForward[] = "bring-forward\n";
constexpr int kConnectTimeoutMs = 1000;
constexpr int kAnswerTimeoutMs = 2000;

} // namespace

SingleInstance::SingleInstance(const QString& bundleIdentifier, QObject* parent)
    : QObject(parent), m_name(serverNameFor(bundleIdentifier)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::serverNameFor(const QString& bundleIdentifier) {
    if (Machine::isEmulated())
        return Machine::hostPath(QStringLiteral("/tmp/%1.instance").arg(bundleIdentifier));
    return QStringLiteral("%1.%2").arg(bundleIdentifier).arg(::getuid());
}

bool SingleInstance::isListening() const {
    return m_server && m_server->isListening();
}

bool SingleInstance::checkAndClaim() {
    if (askRunningCopy())
        return true;
    if (listen())
        return false;
    // Two copies started together: the other one may have claimed the name between our
    // question and our listen. Ask once more; if nobody answers the name is a leftover of a
    // copy that crashed, so it is removed and claimed.
    if (askRunningCopy())
        return true;
    QLocalServer::removeServer(m_name);
    listen();
    return false;
}

bool SingleInstance::askRunningCopy() {
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(kConnectTimeoutMs))
        return false;
    socket.write(kBringForward);
    socket.waitForBytesWritten(kAnswerTimeoutMs);
    // The answer only tells that the first copy has handled the request; a copy that is busy
    // and does not answer in time is still a running copy.
    socket.waitForReadyRead(kAnswerTimeoutMs);
    socket.disconnectFromServer();
    return true;
}

bool SingleInstance::listen() {
    delete m_server;
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_name)) {
        delete m_server;
        m_server = nullptr;
        return false;
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
    return true;
}

void SingleInstance::acceptConnections() {
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        auto readRequests = [this, socket] {
            while (socket->canReadLine()) {
                if (socket->readLine() != kBringForward)
                    continue;
                Q_EMIT bringToFrontRequested();
                socket->write(kBringForward);
                socket->flush();
            }
        };
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, readRequests);
        readRequests(); // a request that arrived with the connection
    }
}
