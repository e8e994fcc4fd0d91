#pragma once

#include <QString>

/// A sound server that hangs: a local socket that lets programs connect and
/// never answers them. Lives as long as the object.
class HangingServer {
public:
    /// Listens at `path`, which must be short enough for a socket's name.
    explicit HangingServer(const QString& path);
    ~HangingServer();
    Q_DISABLE_COPY_MOVE(HangingServer)

    [[nodiscard]] bool isListening() const { return m_socket >= 0; }

    /// True once a program has connected.
    [[nodiscard]] bool wasCalled() const;

private:
    int m_socket = -1;
};
