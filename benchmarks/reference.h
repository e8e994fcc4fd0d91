#pragma once

#include <cstddef>
#include <cstdint>

/// Reference kernels: the least work a task can need, written to run near the
/// machine's limit. They stand alone, so that a slow product cannot slow them.
namespace reference {

struct MinMax {
    float minimum = 0;
    float maximum = 0;
};

/// Smallest and largest of `count` floats, one vectorised pass; count ≥ 1, no NaN.
MinMax minMax(const float* samples, std::size_t count);

struct Reduced {
    float minimum = 0;
    float maximum = 0;
    float sumOfSquares = 0;
};

/// Smallest, largest and sum of squares in one vectorised pass; count ≥ 1.
Reduced reduce(const float* samples, std::size_t count);

/// Sets `count` pixels.
void fillRow(std::uint32_t* pixels, std::size_t count, std::uint32_t colour);

/// Block copy.
void copyBytes(void* to, const void* from, std::size_t bytes);

} // namespace reference
