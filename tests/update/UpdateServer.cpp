#include "UpdateServer.h"

#include <QTcpSocket>

UpdateServer::UpdateServer(QObject* parent) : QObject(parent) {
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        }
    });
}

bool UpdateServer::listen() {
    return m_server.listen(QHostAddress::LocalHost);
}

QString UpdateServer::origin() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void UpdateServer::answer(QTcpSocket* socket) {
    // Wait for the whole head of the request; only its first line matters.
    if (!socket->peek(64 * 1024).contains("\r\n\r\n") || socket->property("asked").toBool())
        return;
    socket->setProperty("asked", true);
    const QList<QByteArray> requestLine = socket->readLine().trimmed().split(' ');
    const QString path = requestLine.size() >= 2 ? QString::fromLatin1(requestLine.at(1)) : QString();
    m_requested << path;

    const Answer reply = m_answers.value(path, Answer{404, "Not Found", true, false});
    if (reply.never)
        return;
    QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) +
                      (reply.status == 200 ? " OK" : " Not Found") +
                      "\r\nContent-Type: application/xml\r\nConnection: close\r\n";
    if (reply.withLength)
        head += "Content-Length: " + QByteArray::number(reply.body.size()) + "\r\n";
    socket->write(head + "\r\n" + reply.body);
    socket->disconnectFromHost();
}
