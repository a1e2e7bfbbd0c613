#include "platform/NetworkProbe.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QUrl>

#include <cerrno>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Waits on one socket for the given events until the deadline; true when they came.
bool waitFor(int fd, short events, const QDeadlineTimer& deadline) {
    for (;;) {
        const qint64 left = deadline.remainingTime();
        if (left == 0)
            return false;
        pollfd p{fd, events, 0};
        const int n = ::poll(&p, 1, static_cast<int>(left));
        if (n > 0)
            return (p.revents & (events | POLLHUP | POLLERR)) != 0;
        if (n == 0 || errno != EINTR)
            return false;
    }
}

bool askOneAddress(const addrinfo* ai, const QByteArray& request, const QDeadlineTimer& deadline) {
    const int fd = ::socket(ai->ai_family, ai->ai_socktype, ai->ai_protocol);
    if (fd < 0)
        return false;
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    bool answered = false;
    int rc = ::connect(fd, ai->ai_addr, ai->ai_addrlen);
    if (rc == 0 || errno == EINPROGRESS) {
        int soError = 0;
        socklen_t len = sizeof soError;
        if (waitFor(fd, POLLOUT, deadline) && ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &soError, &len) == 0 &&
            soError == 0 &&
            ::send(fd, request.constData(), static_cast<size_t>(request.size()), MSG_NOSIGNAL) > 0) {
            char byte = 0;
            answered = waitFor(fd, POLLIN, deadline) && ::recv(fd, &byte, 1, 0) > 0;
        }
    }
    ::close(fd);
    return answered;
}

} // namespace

bool httpAnswersWithData(const QString& url, int timeoutMs) {
    const QUrl u(url);
    if (!u.isValid() || u.scheme() != QLatin1String("http") || u.host().isEmpty())
        return false;
    const QDeadlineTimer deadline(timeoutMs);
    const QByteArray host = u.host().toUtf8();
    const QByteArray port = QByteArray::number(u.port(80));
    const QByteArray path = u.path().isEmpty() ? QByteArray("/") : u.path(QUrl::FullyEncoded).toUtf8();
    const QByteArray request = "GET " + path + " HTTP/1.1\r\nHost: " + host +
                               "\r\nCache-Control: no-cache\r\nConnection: close\r\n\r\n";

    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.constData(), port.constData(), &hints, &found) != 0 || !found)
        return false;
    bool answered = false;
    for (const addrinfo* ai = found; ai && !answered && deadline.remainingTime() != 0; ai = ai->ai_next)
        answered = askOneAddress(ai, request, deadline);
    ::freeaddrinfo(found);
    return answered;
}
