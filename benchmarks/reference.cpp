#include "reference.h"

#include "project/kernelclones.h"

#include <cstring>

namespace reference {

namespace {

// Enough independent accumulators to hide the latency of each operation.
constexpr std::size_t kLanes = 32;

} // namespace

VELA_KERNEL_CLONES MinMax minMax(const float* samples, std::size_t count)
{
    float low[kLanes];
    float high[kLanes];
    for (std::size_t lane = 0; lane < kLanes; ++lane)
        low[lane] = high[lane] = samples[0];
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const float value = samples[i + lane];
            low[lane] = value < low[lane] ? value : low[lane];
            high[lane] = value > high[lane] ? value : high[lane];
        }
    }
    for (; i < count; ++i) {
        low[0] = samples[i] < low[0] ? samples[i] : low[0];
        high[0] = samples[i] > high[0] ? samples[i] : high[0];
    }
    for (std::size_t lane = 1; lane < kLanes; ++lane) {
        low[0] = low[lane] < low[0] ? low[lane] : low[0];
        high[0] = high[lane] > high[0] ? high[lane] : high[0];
    }
    return {low[0], high[0]};
}

VELA_KERNEL_CLONES Reduced reduce(const float* samples, std::size_t count)
{
    float low[kLanes];
    float high[kLanes];
    float sum[kLanes];
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
        low[lane] = high[lane] = samples[0];
        sum[lane] = 0;
    }
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const float value = samples[i + lane];
            low[lane] = value < low[lane] ? value : low[lane];
            high[lane] = value > high[lane] ? value : high[lane];
            sum[lane] += value * value;
        }
    }
    for (; i < count; ++i) {
        low[0] = samples[i] < low[0] ? samples[i] : low[0];
        high[0] = samples[i] > high[0] ? samples[i] : high[0];
        sum[0] += samples[i] * samples[i];
    }
    for (std::size_t lane = 1; lane < kLanes; ++lane) {
        low[0] = low[lane] < low[0] ? low[lane] : low[0];
        high[0] = high[lane] > high[0] ? high[lane] : high[0];
        sum[0] += sum[lane];
    }
    return {low[0], high[0], sum[0]};
}

VELA_KERNEL_CLONES void fillRow(std::uint32_t* pixels, std::size_t count, std::uint32_t colour)
{
    for (std::size_t i = 0; i < count; ++i)
        pixels[i] = colour;
}

void copyBytes(void* to, const void* from, std::size_t bytes)
{
    std::memcpy(to, from, bytes);
}

} // namespace reference
