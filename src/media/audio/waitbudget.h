#pragma once

#include <chrono>

namespace media::audio {

/// How long one thread may wait for others in all, when several waits follow each
/// other without a rest. What a wait takes is gone, and each millisecond that is
/// not waited in gives one back.
///
/// Times are passed in, from any clock that only goes on. One thread.
class WaitBudget {
public:
    using Ms = std::chrono::milliseconds;

    /// What each wait is given in any case: what is in order seldom takes
    /// longer.
    static constexpr Ms kLeast{50};

    explicit WaitBudget(Ms most);

    /// The clock of whoever shares a budget with others.
    [[nodiscard]] static Ms now();

    /// How long a wait that begins `now` may take.
    [[nodiscard]] Ms left(Ms now) const;

    /// There was a wait.
    void spend(Ms begin, Ms end);

private:
    [[nodiscard]] Ms spentAt(Ms now) const;

    Ms m_most;
    Ms m_spent{0}; ///< at the end of the last wait
    Ms m_lastEnd{0};
};

} // namespace media::audio
