#include "media/audio/sampleformat.h"

#include <cstring>

namespace media::audio {

namespace {

constexpr float kInt16Scale = 32767.0F;
constexpr float kInt16Step = 1.0F / 32768.0F;

qint16 toInt16(float sample)
{
    // Written so that NaN, which is not below anything, ends at the upper bound.
    const float below = sample < 1.0F ? sample : 1.0F;
    const float clamped = below < -1.0F ? -1.0F : below;
    return static_cast<qint16>(clamped * kInt16Scale);
}

} // namespace

bool isAlignedForSamples(const void* data)
{
    return reinterpret_cast<quintptr>(data) % alignof(float) == 0;
}

void writeInt16(const float* samples, quint64 count, char* bytes)
{
    for (quint64 i = 0; i < count; ++i) {
        const qint16 value = toInt16(samples[i]);
        std::memcpy(bytes + i * sizeof(value), &value, sizeof(value));
    }
}

void readInt16(const char* bytes, quint64 count, float* samples)
{
    for (quint64 i = 0; i < count; ++i) {
        qint16 value = 0;
        std::memcpy(&value, bytes + i * sizeof(value), sizeof(value));
        samples[i] = static_cast<float>(value) * kInt16Step;
    }
}

} // namespace media::audio
