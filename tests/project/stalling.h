#pragma once

#include <QString>

#include <chrono>

/// A file system that stops answering: stands in for system calls of the program it
/// is linked into. Any thread.
namespace stalling {

enum class Call {
    Open,
    Write, ///< pwrite
    Sync,  ///< fsync, of folders too
};

/// From now on calls of that kind on what lies in `folder`, or on itself, do not
/// come back before `release()`, or for `atMost`.
void begin(Call call, const QString& folder, std::chrono::milliseconds atMost);

/// Lets all calls go on, those that wait included.
void release();

/// How many calls are waiting.
[[nodiscard]] int waiting();

/// The threads of this process that have that name.
[[nodiscard]] int threadsNamed(const QByteArray& name);

} // namespace stalling
