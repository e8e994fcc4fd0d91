// The spectrum analyser: a stereo signal through every band, and silence after it.

#include "ratio.h"
#include "reference_filterbank.h"
#include "widgets/spectrumanalyser.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kRateHz = 44100;
constexpr int kChannels = 2;
// What one tick of the spectrogram brings.
constexpr int kTickSamples = kRateHz / 5;
// Long enough for the slowest band to fall from full scale through where floats
// turn denormal.
constexpr int kSilenceTicks = 30 * 5;
constexpr double kMaxCorePercent = 2.0;

const std::string kTick = "filter bank, stereo tick of 200 ms";
const std::string kShare = "filter bank, share of a core";

std::vector<float> noise(std::size_t count)
{
    std::vector<float> samples(count);
    std::uint32_t state = 1;
    for (float& sample : samples) {
        state = state * 1664525U + 1013904223U;
        sample = static_cast<float>(state >> 8) / 8388608.0F - 1.0F;
    }
    return samples;
}

struct Analysers {
    SpectrumAnalyser channels[kChannels];

    void run(const std::vector<float>& samples, int ticks = 1)
    {
        for (int tick = 0; tick < ticks; ++tick) {
            for (SpectrumAnalyser& channel : channels)
                channel.process(samples.data(), kTickSamples);
        }
    }
};

struct References {
    reference::FilterBank channels[kChannels];

    References()
    {
        for (reference::FilterBank& channel : channels)
            reference::prepareFilterBank(channel, kRateHz);
    }

    void run(const std::vector<float>& samples)
    {
        for (reference::FilterBank& channel : channels)
            reference::runFilterBank(channel, samples.data(), kTickSamples);
    }
};

} // namespace

int main(int argc, char** argv)
{
    bench::Report report(argc, argv);
    const std::vector<float> signal = noise(kTickSamples);
    const std::vector<float> silence(kTickSamples, 0.0F);
    const auto analysers = std::make_unique<Analysers>();
    const auto references = std::make_unique<References>();
    const auto quiet = std::make_unique<Analysers>();

    if (report.wants(kTick) || report.wants(kShare)) {
        const bench::Kernel plain{[&] { references->run(signal); }, {}};
        const bench::Kernel product{[&] { analysers->run(signal); }, {}};
        report.compare(kTick, plain, product, 1.3);
        const bench::Times times = bench::timeTurnAbout(plain, product);
        constexpr double kTickNs = 1e9 * kTickSamples / kRateHz;
        report.add(kShare, 100.0 * times.figureNs / kTickNs, kMaxCorePercent, 1.0, "%");
    }
    const bench::Kernel loud{[&] { analysers->run(signal, kSilenceTicks); },
                             [&] { analysers->run(signal); }};
    const bench::Kernel silent{[&] { quiet->run(silence, kSilenceTicks); },
                               [&] { quiet->run(signal, 5); }};
    report.compare("filter bank, 30 s of silence after signal", loud, silent, 1.5);
    return report.exitCode();
}
