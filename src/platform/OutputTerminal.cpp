#include "platform/OutputTerminal.h"

#include <cstdlib>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

void setCloseOnExec(int fd) {
    const int flags = ::fcntl(fd, F_GETFD);
    if (flags >= 0)
        ::fcntl(fd, F_SETFD, flags | FD_CLOEXEC);
}

} // namespace

OutputTerminal openOutputTerminal() {
    OutputTerminal t;
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0)
        return t;
    setCloseOnExec(master);
    const char* name = nullptr;
    if (::grantpt(master) != 0 || ::unlockpt(master) != 0 || !(name = ::ptsname(master))) {
        ::close(master);
        return t;
    }
    const QByteArray path(name);
    const int slave = ::open(path.constData(), O_RDWR | O_NOCTTY);
    if (slave < 0) {
        ::close(master);
        return t;
    }
    setCloseOnExec(slave);
    termios mode{};
    if (::tcgetattr(slave, &mode) == 0) {
        mode.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        mode.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG | IEXTEN);
        ::tcsetattr(slave, TCSANOW, &mode);
    }
    ::fcntl(master, F_SETFL, ::fcntl(master, F_GETFL) | O_NONBLOCK);
    t.master = master;
    t.slave = slave;
    t.slavePath = path;
    return t;
}
