#pragma once

#include <QtGlobal>

/// Counts what the calling thread takes from the heap while it lives: every way
/// there is, in the program and in the libraries it uses. A program that uses it
/// has its own doors to the heap, which count and pass on; under a sanitizer,
/// whose doors they are, they tell of what was allocated (ThreadSanitizer's not
/// of what was allocated aligned).
class AllocationCounter {
public:
    AllocationCounter();
    Q_DISABLE_COPY_MOVE(AllocationCounter)

    /// Blocks allocated, grown or moved since construction. What was given back
    /// meanwhile still counts.
    [[nodiscard]] qint64 count() const;

private:
    qint64 m_before;
};
