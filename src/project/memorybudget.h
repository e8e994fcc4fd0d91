#pragma once

#include <QByteArray>
#include <QtGlobal>

/// How much memory something may still take, counted before it is taken.
/// One thread.
class MemoryBudget {
public:
    explicit MemoryBudget(qint64 bytes)
        : m_bytesLeft(bytes)
    {
    }

    /// Counts `bytes` as taken; false, now and from then on, if there are not so
    /// many left.
    [[nodiscard]] bool take(qint64 bytes);

    [[nodiscard]] qint64 bytesLeft() const { return m_bytesLeft; }

    /// True once a `take()` was refused.
    [[nodiscard]] bool isExceeded() const { return m_isExceeded; }

private:
    qint64 m_bytesLeft;
    bool m_isExceeded = false;
};

/// What one file may take of `availableBytes`: all but kMemoryMarginBytes, or half
/// where there is less than twice as much.
[[nodiscard]] qint64 affordableMemoryBytes(qint64 availableBytes);

/// Enough for the machine not to run short while a file is opened.
constexpr qint64 kMemoryMarginBytes = qint64{512} * 1024 * 1024;

/// The same of what the system could hand out now, or of all there is where it does
/// not say; within the limit of the process, if it has one.
[[nodiscard]] qint64 affordableMemoryBytes();

/// What the system's memory report says could be handed out, in bytes; −1 if it
/// does not say.
[[nodiscard]] qint64 availableMemoryBytes(const QByteArray& report);
