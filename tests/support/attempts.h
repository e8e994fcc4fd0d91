#pragma once

#include <cstdio>

/// What only the machine can spoil, by having no time for a player or a recorder, is
/// tried up to three times: a fault of ours spoils every attempt. Each attempt has to
/// be the whole of what is tested. True when one of them was. `./test` counts the lines
/// of those that were not: many on a quiet machine are a fault of ours.
template <typename Attempt>
[[nodiscard]] bool inThreeAttempts(const Attempt& attempt)
{
    for (int i = 0; i < 3; ++i) {
        if (attempt())
            return true;
        std::fputs("spoiled attempt\n", stderr);
    }
    return false;
}

/// What the first attempt that gave the expected value gave, or the last of them.
template <typename Value, typename Attempt>
[[nodiscard]] Value bestOfThreeAttempts(const Value& expected, const Attempt& attempt)
{
    Value value;
    (void)inThreeAttempts([&] {
        value = attempt();
        return value == expected;
    });
    return value;
}
