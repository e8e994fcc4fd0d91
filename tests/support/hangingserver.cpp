#include "support/hangingserver.h"

#include <QFile>

#include <algorithm>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

HangingServer::HangingServer()
{
    constexpr int kBacklog = 8;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(m_runtime.filePath(QStringLiteral("native")));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime.path()));
    qputenv("PULSE_SERVER", "unix:" + name);
    if (name.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return;
    std::copy(name.begin(), name.end(), address.sun_path);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool listens =
        socket >= 0 &&
        ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::listen(socket, kBacklog) == 0;
    if (listens)
        m_socket = socket;
    else if (socket >= 0)
        ::close(socket);
}

HangingServer::~HangingServer()
{
    if (m_socket >= 0)
        ::close(m_socket);
}

bool HangingServer::wasCalled() const
{
    pollfd waiting{m_socket, POLLIN, 0};
    return ::poll(&waiting, 1, 0) == 1;
}
