#pragma once

#include <array>

/// How loud a signal is in each of 256 bands, spaced evenly by pitch from 20 Hz to
/// 20 kHz: every sample is turned down by each band's own phasor and smoothed by
/// two recursive stages. Neither blocks nor allocates after construction.
///
/// Samples that are not finite count as silence, and so does what is too small to
/// be told from it, so that neither NaN nor denormal numbers stay in the stages.
class SpectrumAnalyser {
public:
    static constexpr int kBands = 256;
    static constexpr int kDefaultSampleRateHz = 44100;
    static constexpr double kLowestHz = 20.0;
    static constexpr double kHighestHz = 20000.0;
    /// How far below a power of 1 level() reaches.
    static constexpr double kRangeDb = 80.0;

    explicit SpectrumAnalyser(int sampleRateHz = kDefaultSampleRateHz);

    /// Runs `count` samples through every band.
    void process(const float* samples, int count);

    static double bandHz(int band);

    /// |second stage|² of the band; a full-scale sine at its centre comes near 1/4.
    [[nodiscard]] double power(int band) const;

    /// The power in dB over the range, −80 dB as 0 and 0 dB as 1, clamped.
    [[nodiscard]] double level(int band) const;

    /// Magnitude of the band's phasor: 1 but for rounding.
    [[nodiscard]] double phasorMagnitude(int band) const;

private:
    using Bands = std::array<float, kBands>;

    // One array for each part: the inner loops run over bands.
    struct alignas(64) State {
        Bands firstSmoothing{};
        Bands secondSmoothing{};
        Bands rotationReal{};
        Bands rotationImaginary{};
        Bands phasorReal{};
        Bands phasorImaginary{};
        Bands firstReal{};
        Bands firstImaginary{};
        Bands secondReal{};
        Bands secondImaginary{};
    };

    static void advanceAllBands(State& state, const float* samples, int count);
    void renormalise();

    State m_state;
    int m_sinceRenormalised = 0; ///< samples
};
