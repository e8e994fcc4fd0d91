#pragma once

#include <cstddef>

namespace reference {

/// Adds `count` planar float channels of `frames` frames each into a double
/// accumulator that is set to zero first: the additions of a mix and nothing
/// else, eight channels to a vectorised pass.
void mixPass(const float* const* channels, std::size_t count, std::size_t frames, double* sum);

} // namespace reference
