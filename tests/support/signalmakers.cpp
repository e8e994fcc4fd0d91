#include "support/signalmakers.h"

#include <cmath>
#include <numbers>
#include <random>

namespace signal_makers {

namespace {

template <typename Generator>
QList<float> generate(qsizetype frames, Generator sampleAt)
{
    QList<float> samples(frames);
    float* out = samples.data();
    for (qsizetype i = 0; i < frames; ++i)
        out[i] = sampleAt(i);
    return samples;
}

} // namespace

QList<float> constant(qsizetype frames, float level)
{
    QList<float> samples(frames, level);
    return samples;
}

QList<float> sine(qsizetype frames, double frequencyHz, double rateHz, float level)
{
    const double step = 2.0 * std::numbers::pi * frequencyHz / rateHz;
    return generate(frames, [=](qsizetype i) {
        return static_cast<float>(level * std::sin(step * static_cast<double>(i)));
    });
}

QList<float> dirac(qsizetype frames, qsizetype position)
{
    return generate(frames, [=](qsizetype i) { return i == position ? 1.0F : 0.0F; });
}

QList<float> ramp(qsizetype frames, float first, float last)
{
    const double step =
        frames > 1 ? (static_cast<double>(last) - first) / static_cast<double>(frames - 1) : 0.0;
    return generate(frames, [=](qsizetype i) {
        return static_cast<float>(first + step * static_cast<double>(i));
    });
}

QList<float> noise(qsizetype frames, quint32 seed, float level)
{
    std::mt19937 engine(seed);
    return generate(frames, [&](qsizetype) {
        const double unit = static_cast<double>(engine()) / 4294967295.0;
        return static_cast<float>(level * (2.0 * unit - 1.0));
    });
}

QList<float> counter(qsizetype frames, qsizetype offset)
{
    return generate(frames, [=](qsizetype i) {
        return static_cast<float>(std::ldexp(static_cast<double>(i + 1 + offset), -24));
    });
}

} // namespace signal_makers
