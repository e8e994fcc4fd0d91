#pragma once

#include <QtGlobal>

#include <csignal>

/// While it lives, a write above the process's file size limit fails with an
/// error on this thread, where it would otherwise end the program.
/// Made and destroyed on the same thread.
class FileSizeSignalGuard {
public:
    FileSizeSignalGuard();
    ~FileSizeSignalGuard();
    Q_DISABLE_COPY_MOVE(FileSizeSignalGuard)

private:
    sigset_t m_before;
};
