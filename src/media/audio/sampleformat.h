#pragma once

#include <QtGlobal>

namespace media::audio {

/// Conversion between the samples of the rings (float, full scale ±1) and those
/// on a device's wire. Any thread; neither blocks nor allocates.

[[nodiscard]] bool isAlignedForSamples(const void* data);

/// Clamps to ±1, scales by 32767 and truncates; NaN becomes 32767. `bytes` takes
/// 2 × `count` bytes of the machine's order and needs no alignment.
void writeInt16(const float* samples, quint64 count, char* bytes);

/// Scales by 1/32768: −32768 becomes −1. `bytes` needs no alignment.
void readInt16(const char* bytes, quint64 count, float* samples);

} // namespace media::audio
