#include "widgets/spectrumanalyser.h"

#include "project/kernelclones.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numbers>

namespace {

constexpr int kRenormaliseEverySamples = 512;
// Far below the −80 dB the display reaches, far above where floats turn denormal.
constexpr float kSilentSample = 1e-30F;
constexpr float kSilentStage = 1e-20F;
constexpr double kLeastPower = 1e-20;

/// `value`, or 0 if it is not finite or smaller than `least`.
float audible(float value, float least)
{
    const float size = std::fabs(value);
    return size >= least && size <= FLT_MAX ? value : 0.0F;
}

size_t at(int band)
{
    return static_cast<size_t>(band);
}

} // namespace

SpectrumAnalyser::SpectrumAnalyser(int sampleRateHz)
{
    const double rateHz = std::max(sampleRateHz, 1);
    for (int band = 0; band < kBands; ++band) {
        const double hz = bandHz(band);
        const double smoothing = 1.0 - std::exp(-(hz / rateHz) / std::log(hz + 1.0));
        const double angle = -2.0 * std::numbers::pi * hz / rateHz;
        m_state.firstSmoothing[at(band)] = static_cast<float>(smoothing);
        m_state.secondSmoothing[at(band)] = static_cast<float>(smoothing / 2.0);
        m_state.rotationReal[at(band)] = static_cast<float>(std::cos(angle));
        m_state.rotationImaginary[at(band)] = static_cast<float>(std::sin(angle));
        m_state.phasorReal[at(band)] = 1.0F;
    }
}

void SpectrumAnalyser::process(const float* samples, int count)
{
    std::array<float, kRenormaliseEverySamples> clean;
    while (count > 0) {
        const int run = std::min(count, kRenormaliseEverySamples - m_sinceRenormalised);
        for (int i = 0; i < run; ++i)
            clean[static_cast<size_t>(i)] = audible(samples[i], kSilentSample);
        advanceAllBands(m_state, clean.data(), run);
        samples += run;
        count -= run;
        m_sinceRenormalised += run;
        if (m_sinceRenormalised == kRenormaliseEverySamples) {
            renormalise();
            m_sinceRenormalised = 0;
        }
    }
}

// A few bands at a time go through the whole run, so that their state stays in
// registers. The smoothing (1 − a) × s + a × v is written s + a × (v − s): one
// rounding less, and no gain error from rounding 1 − a. All indices are bounded by
// constants, so these sanitizers would find nothing, and a spectrum could not be
// shown in real time under them.
__attribute__((no_sanitize("address", "undefined"))) VELA_KERNEL_CLONES void
SpectrumAnalyser::advanceAllBands(State& state, const float* samples, int count)
{
    constexpr int kTile = 16;
    static_assert(kBands % kTile == 0);
    for (int base = 0; base < kBands; base += kTile) {
        float a[kTile];
        float b[kTile];
        float cosine[kTile];
        float sine[kTile];
        float pr[kTile];
        float pi[kTile];
        float sr[kTile];
        float si[kTile];
        float tr[kTile];
        float ti[kTile];
        for (int j = 0; j < kTile; ++j) {
            a[j] = state.firstSmoothing.data()[base + j];
            b[j] = state.secondSmoothing.data()[base + j];
            cosine[j] = state.rotationReal.data()[base + j];
            sine[j] = state.rotationImaginary.data()[base + j];
            pr[j] = state.phasorReal.data()[base + j];
            pi[j] = state.phasorImaginary.data()[base + j];
            sr[j] = state.firstReal.data()[base + j];
            si[j] = state.firstImaginary.data()[base + j];
            tr[j] = state.secondReal.data()[base + j];
            ti[j] = state.secondImaginary.data()[base + j];
        }
        for (int i = 0; i < count; ++i) {
            const float x = samples[i];
            for (int j = 0; j < kTile; ++j) {
                sr[j] += a[j] * (x * pr[j] - sr[j]);
                si[j] += a[j] * (x * pi[j] - si[j]);
                tr[j] += b[j] * (sr[j] - tr[j]);
                ti[j] += b[j] * (si[j] - ti[j]);
                const float turned = pr[j] * cosine[j] - pi[j] * sine[j];
                pi[j] = pr[j] * sine[j] + pi[j] * cosine[j];
                pr[j] = turned;
            }
        }
        for (int j = 0; j < kTile; ++j) {
            state.phasorReal.data()[base + j] = pr[j];
            state.phasorImaginary.data()[base + j] = pi[j];
            state.firstReal.data()[base + j] = sr[j];
            state.firstImaginary.data()[base + j] = si[j];
            state.secondReal.data()[base + j] = tr[j];
            state.secondImaginary.data()[base + j] = ti[j];
        }
    }
}

void SpectrumAnalyser::renormalise()
{
    for (size_t k = 0; k < kBands; ++k) {
        float& pr = m_state.phasorReal[k];
        float& pi = m_state.phasorImaginary[k];
        const float magnitude = std::sqrt(pr * pr + pi * pi);
        if (magnitude > 0) {
            pr /= magnitude;
            pi /= magnitude;
        }
    }
    for (Bands* stage : {&m_state.firstReal, &m_state.firstImaginary, &m_state.secondReal,
                         &m_state.secondImaginary}) {
        for (float& value : *stage)
            value = audible(value, kSilentStage);
    }
}

double SpectrumAnalyser::bandHz(int band)
{
    const double span = std::log(kHighestHz) - std::log(kLowestHz);
    return std::exp(std::log(kLowestHz) + span * band / (kBands - 1));
}

double SpectrumAnalyser::power(int band) const
{
    const double real = m_state.secondReal[at(band)];
    const double imaginary = m_state.secondImaginary[at(band)];
    return real * real + imaginary * imaginary;
}

double SpectrumAnalyser::level(int band) const
{
    const double db = 10.0 * std::log10(std::max(power(band), kLeastPower));
    return std::clamp((db + kRangeDb) / kRangeDb, 0.0, 1.0);
}

double SpectrumAnalyser::phasorMagnitude(int band) const
{
    return std::hypot(static_cast<double>(m_state.phasorReal[at(band)]),
                      static_cast<double>(m_state.phasorImaginary[at(band)]));
}
