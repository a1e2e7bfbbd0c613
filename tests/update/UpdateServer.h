#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QTcpServer>

class QTcpSocket;

// A small HTTP server on the loopback interface for the update check: it answers each path
// with what the test set for it, a plain 404 for the rest, and remembers the paths asked.
class UpdateServer : public QObject {
    Q_OBJECT
public:
    struct Answer {
        int status = 200;
        QByteArray body;
        bool withLength = true; // false: no Content-Length, the end of the body is the close
        bool never = false;     // read the request and never answer
    };

    explicit UpdateServer(QObject* parent = nullptr);

    bool listen();
    // "http://127.0.0.1:<port>", for TAVRILL_SERVICE_ORIGIN.
    QString origin() const;
    void setAnswer(const QString& path, const Answer& answer) { m_answers.insert(path, answer); }
    QStringList requested() const { return m_requested; }

private:
    void answer(QTcpSocket* socket);

    QTcpServer m_server;
    QHash<QString, Answer> m_answers;
    QStringList m_requested;
};
