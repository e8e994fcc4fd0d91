#pragma once

#include <QtGlobal>

#include <limits>

/// Arithmetic on frame positions that saturates instead of overflowing: a view
/// may be zoomed out without end, and a project file may hold any number.
namespace frame_math {

constexpr qint64 kLowest = std::numeric_limits<qint64>::min();
constexpr qint64 kHighest = std::numeric_limits<qint64>::max();

[[nodiscard]] inline qint64 sum(qint64 a, qint64 b)
{
    qint64 result = 0;
    if (!__builtin_add_overflow(a, b, &result))
        return result;
    return b < 0 ? kLowest : kHighest;
}

[[nodiscard]] inline qint64 difference(qint64 a, qint64 b)
{
    qint64 result = 0;
    if (!__builtin_sub_overflow(a, b, &result))
        return result;
    return b < 0 ? kHighest : kLowest;
}

/// `value` truncated toward zero; 0 for NaN.
[[nodiscard]] inline qint64 truncated(double value)
{
    constexpr double kLimit = 9223372036854775808.0; // 2⁶³
    if (value >= kLimit)
        return kHighest;
    if (value < -kLimit)
        return kLowest;
    return value == value ? static_cast<qint64>(value) : 0;
}

/// The frame at or before `value`, and the one at or after; 0 for NaN. Written
/// out because the library's are calls on a baseline processor.
[[nodiscard]] inline qint64 floored(double value)
{
    const qint64 frame = truncated(value);
    return static_cast<double>(frame) > value ? frame - 1 : frame;
}

[[nodiscard]] inline qint64 ceiled(double value)
{
    const qint64 frame = truncated(value);
    return static_cast<double>(frame) < value ? sum(frame, 1) : frame;
}

/// `a` × `b` / `divisor` truncated toward zero, exact in between; `divisor` ≠ 0.
[[nodiscard]] inline qint64 scaled(qint64 a, qint64 b, qint64 divisor)
{
    const __int128 quotient = static_cast<__int128>(a) * b / divisor;
    if (quotient > kHighest)
        return kHighest;
    if (quotient < kLowest)
        return kLowest;
    return static_cast<qint64>(quotient);
}

} // namespace frame_math
