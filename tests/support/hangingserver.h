#pragma once

#include <QTemporaryDir>

/// A sound server that hangs: a local socket that lets programs connect and
/// never answers them. Lives as long as the object.
class HangingServer {
public:
    /// Sets this process's environment so that it is the server to ask, for what
    /// is made of the toolkit afterwards. `isListening()` tells whether that worked.
    HangingServer();
    ~HangingServer();
    Q_DISABLE_COPY_MOVE(HangingServer)

    [[nodiscard]] bool isListening() const { return m_socket >= 0; }

    /// True once a program has connected.
    [[nodiscard]] bool wasCalled() const;

private:
    QTemporaryDir m_runtime;
    int m_socket = -1;
};
