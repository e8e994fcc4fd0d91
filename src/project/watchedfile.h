#pragma once

#include <QFile>

#include <atomic>

/// A file that knows whether it is being read: a decoder that still reads is
/// still alive. Reading and asking may happen on two threads.
class WatchedFile : public QFile {
public:
    using QFile::QFile;

    /// Changes with every read; odd while one is going on.
    [[nodiscard]] quint64 readSteps() const { return m_steps.load(std::memory_order_relaxed); }

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    std::atomic<quint64> m_steps = 0; ///< a lone counter: orders nothing else
};
