#include "reference_mix.h"

#include <algorithm>

#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
#define REFERENCE_CLONES __attribute__((target_clones("default", "arch=x86-64-v3")))
#else
#define REFERENCE_CLONES
#endif

namespace reference {

namespace {

constexpr std::size_t kPass = 8;

REFERENCE_CLONES
void addEight(double* __restrict sum, const float* const* channels, std::size_t frames)
{
    const float* a = channels[0];
    const float* b = channels[1];
    const float* c = channels[2];
    const float* d = channels[3];
    const float* e = channels[4];
    const float* f = channels[5];
    const float* g = channels[6];
    const float* h = channels[7];
    for (std::size_t i = 0; i < frames; ++i) {
        sum[i] += static_cast<double>(a[i]) + static_cast<double>(b[i]) +
                  static_cast<double>(c[i]) + static_cast<double>(d[i]) +
                  static_cast<double>(e[i]) + static_cast<double>(f[i]) +
                  static_cast<double>(g[i]) + static_cast<double>(h[i]);
    }
}

REFERENCE_CLONES
void addOne(double* __restrict sum, const float* __restrict channel, std::size_t frames)
{
    for (std::size_t i = 0; i < frames; ++i)
        sum[i] += static_cast<double>(channel[i]);
}

} // namespace

void mixPass(const float* const* channels, std::size_t count, std::size_t frames, double* sum)
{
    std::fill_n(sum, frames, 0.0);
    std::size_t done = 0;
    for (; done + kPass <= count; done += kPass)
        addEight(sum, channels + done, frames);
    for (; done < count; ++done)
        addOne(sum, channels[done], frames);
}

} // namespace reference
