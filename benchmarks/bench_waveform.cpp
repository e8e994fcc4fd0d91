#include "project/track.h"
#include "project/velaproject.h"
#include "ratio.h"
#include "reference.h"
#include "widgets/peakcache.h"
#include "widgets/waveformcache.h"
#include "widgets/waveformview.h"

#include <QApplication>
#include <QImage>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

constexpr qint32 kRate = 44100;
constexpr qint64 kHourFrames = qint64{3600} * kRate;
constexpr int kChannels = 2;
constexpr int kTakeBlockFrames = 1024;
constexpr int kRounds = 25;
constexpr int kGrowthRounds = 201; // each is short, and measured once

/// Decaying tones: every column has a span of its own, with and without rms beyond it.
QList<float> makeChannel(qint64 frames, int channel)
{
    QList<float> samples(frames);
    quint32 noise = 12345U + static_cast<quint32>(channel);
    for (qint64 i = 0; i < frames; ++i) {
        noise = noise * 1664525U + 1013904223U;
        const auto envelope = static_cast<float>(i % kRate) / static_cast<float>(kRate);
        samples[i] = envelope * (static_cast<float>(noise >> 8) / 8388608.0F - 1.0F);
    }
    return samples;
}

Track makeTrack(qint64 frames)
{
    Track track("bench", kChannels, kRate);
    for (int channel = 0; channel < kChannels; ++channel)
        track.samples[channel] = makeChannel(frames, channel);
    return track;
}

/// A picture drawn for another rate is of no use: this has it drawn in full.
void makeStale(WaveformScene& scene)
{
    scene.sampleRate = scene.sampleRate == kRate ? kRate + 1 : kRate;
}

WaveformScene sceneOf(const Track& track, FrameRange range, QSize size)
{
    WaveformScene scene;
    scene.track = &track;
    scene.range = range;
    scene.showTicks = true;
    scene.sampleRate = kRate;
    scene.size = size;
    return scene;
}

/// What a render cannot do without: every value of every column looked at once,
/// every row of every span filled once. The spans are known beforehand.
class RenderReference {
public:
    enum class Source { Samples, Peaks };

    RenderReference(const Track& track, Source source, qint64 span, QSize size)
        : m_source(source)
        , m_size(size)
        , m_pixels(static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height()))
    {
        for (int channel = 0; channel < kChannels; ++channel) {
            const QList<float>& samples = track.samples.at(channel);
            m_values.push_back(source == Source::Peaks
                                   ? peaksOf(samples, span)
                                   : std::vector<float>(samples.cbegin(), samples.cbegin() + span));
        }
        m_perColumn = m_values.front().size() / static_cast<std::size_t>(size.width());
        layOutRuns();
    }

    /// The columns [0, columns).
    void run(int columns)
    {
        for (const std::vector<float>& values : m_values) {
            for (int x = 0; x < columns; ++x) {
                const float* const from = values.data() + static_cast<std::size_t>(x) * m_perColumn;
                if (m_source == Source::Samples) {
                    benchmark::DoNotOptimize(reference::reduce(from, m_perColumn));
                } else {
                    // As many maxima as minima.
                    benchmark::DoNotOptimize(reference::minMax(from, m_perColumn));
                }
            }
        }
        for (const Run& run : m_runs) {
            if (run.begin >= columns)
                continue;
            const int end = std::min(run.end, columns);
            reference::fillRow(m_pixels.data() +
                                   static_cast<std::size_t>(run.row) *
                                       static_cast<std::size_t>(m_size.width()) +
                                   run.begin,
                               static_cast<std::size_t>(end - run.begin), run.colour);
        }
        benchmark::ClobberMemory();
    }

private:
    struct Run {
        int row;
        int begin;
        int end;
        std::uint32_t colour;
    };

    /// Minima and maxima of every block, one after the other.
    static std::vector<float> peaksOf(const QList<float>& samples, qint64 span)
    {
        std::vector<float> peaks;
        for (qint64 i = 0; i + PeakCache::kBlockFrames <= span; i += PeakCache::kBlockFrames) {
            const auto block = reference::minMax(samples.constData() + i,
                                                 static_cast<std::size_t>(PeakCache::kBlockFrames));
            peaks.push_back(block.minimum);
            peaks.push_back(block.maximum);
        }
        return peaks;
    }

    /// Background, peak and rms runs of equal colour, row by row, as the spans
    /// of all columns give them.
    void layOutRuns()
    {
        const int laneHeight = m_size.height() / kChannels;
        const double half = laneHeight * 0.5;
        for (int channel = 0; channel < kChannels; ++channel) {
            std::vector<reference::Reduced> levels;
            for (int x = 0; x < m_size.width(); ++x) {
                auto level = reference::reduce(m_values[static_cast<std::size_t>(channel)].data() +
                                                   static_cast<std::size_t>(x) * m_perColumn,
                                               m_perColumn);
                level.sumOfSquares =
                    m_source == Source::Samples
                        ? std::sqrt(level.sumOfSquares / static_cast<float>(m_perColumn))
                        : 0.0F;
                levels.push_back(level);
            }
            for (int row = 0; row < laneHeight; ++row)
                layOutRow(levels, 1.0 - (row + 0.5) / half, channel * laneHeight + row);
        }
    }

    void layOutRow(const std::vector<reference::Reduced>& levels, double height, int row)
    {
        for (int x = 0; x < m_size.width(); ++x) {
            const reference::Reduced& level = levels[static_cast<std::size_t>(x)];
            const bool rms = std::abs(height) < static_cast<double>(level.sumOfSquares);
            const bool peak = height < static_cast<double>(level.maximum) &&
                              height > static_cast<double>(level.minimum);
            const std::uint32_t colour = rms ? 0xff2864b4 : peak ? 0xff50b4ff : 0xff1e1e1e;
            const bool goesOn =
                !m_runs.empty() && m_runs.back().row == row && m_runs.back().colour == colour;
            if (goesOn)
                m_runs.back().end = x + 1;
            else
                m_runs.push_back({row, x, x + 1, colour});
        }
    }

    Source m_source;
    QSize m_size;
    std::size_t m_perColumn = 0;
    std::vector<std::vector<float>> m_values;
    std::vector<std::uint32_t> m_pixels;
    std::vector<Run> m_runs;
};

void summarise(const Track& track)
{
    for (const QList<float>& samples : track.samples) {
        for (qsizetype i = 0; i + PeakCache::kBlockFrames <= samples.size();
             i += PeakCache::kBlockFrames)
            benchmark::DoNotOptimize(reference::minMax(
                samples.constData() + i, static_cast<std::size_t>(PeakCache::kBlockFrames)));
    }
}

void reportPeakCache(bench::Report& report, const Track& hour)
{
    report.compare("peak cache: an hour of stereo from nothing",
                   {[&hour] {
                        for (const QList<float>& samples : hour.samples)
                            benchmark::DoNotOptimize(reference::minMax(
                                samples.constData(), static_cast<std::size_t>(samples.size())));
                    },
                    {}},
                   {[&hour] {
                        PeakCache cache;
                        cache.update(&hour);
                        benchmark::DoNotOptimize(cache.summarisedFrames());
                    },
                    {}},
                   1.3, kRounds, bench::Clock::ThreadCpu);

    for (const qint64 seconds : {qint64{10}, qint64{3600}}) {
        Track take = makeTrack(seconds * kRate);
        const Track piece = makeTrack(kTakeBlockFrames + PeakCache::kBlockFrames);
        PeakCache cache;
        cache.update(&take);
        const QList<float> block = piece.samples.constFirst().mid(0, kTakeBlockFrames);
        for (QList<float>& samples : take.samples)
            samples.reserve(samples.size() + qsizetype{kTakeBlockFrames} * 1000);
        const auto grow = [&take, &block] {
            for (QList<float>& samples : take.samples)
                samples += block;
        };
        report.compare("peak cache: 1024 more frames of a take of " + std::to_string(seconds) +
                           " s",
                       {[&piece] { summarise(piece); }, grow},
                       {[&take, &cache] { cache.update(&take); }, grow}, 3.0, kGrowthRounds);
    }
}

void reportRenders(bench::Report& report, const Track& hour)
{
    constexpr qint64 kFramesPerPixel = 255;
    for (const QSize size : {QSize(1920, 400), QSize(3840, 800)}) {
        const std::string at = std::to_string(size.width()) + " x " + std::to_string(size.height());
        const qint64 span = kFramesPerPixel * size.width();
        RenderReference samples(hour, RenderReference::Source::Samples, span, size);
        WaveformCache cache;
        WaveformScene near = sceneOf(hour, {0, span}, size);
        report.compare("full render of raw samples, " + at,
                       {[&] { samples.run(size.width()); }, {}},
                       {[&] {
                            makeStale(near);
                            cache.render(near);
                        },
                        {}},
                       2.0, kRounds, bench::Clock::ThreadCpu);

        RenderReference peaks(hour, RenderReference::Source::Peaks, kHourFrames, size);
        WaveformCache farCache;
        WaveformScene far = sceneOf(hour, {0, kHourFrames}, size);
        report.compare("full render of an hour from its peaks, " + at,
                       {[&] { peaks.run(size.width()); }, {}},
                       {[&] {
                            makeStale(far);
                            farCache.render(far);
                        },
                        {}},
                       2.0, kRounds, bench::Clock::ThreadCpu);

        constexpr int kShift = 10;
        qint64 begin = 0;
        std::vector<std::uint32_t> copy(static_cast<std::size_t>(size.width()) *
                                        static_cast<std::size_t>(size.height()));
        std::vector<std::uint32_t> image = copy;
        report.compare("scroll by 10 pixels, " + at,
                       {[&] {
                            samples.run(kShift);
                            reference::copyBytes(copy.data(), image.data(),
                                                 copy.size() * sizeof(std::uint32_t));
                            benchmark::ClobberMemory();
                        },
                        {}},
                       {[&] {
                            begin = begin == 0 ? kShift * kFramesPerPixel : 0;
                            cache.render(sceneOf(hour, {begin, begin + span}, size));
                        },
                        {}},
                       2.0, kRounds, bench::Clock::ThreadCpu);
    }
}

void reportRepaint(bench::Report& report, const Track& hour)
{
    for (const QSize size : {QSize(1920, 400), QSize(3840, 800)}) {
        const ProjectHandle project = VelaProject::create(kRate);
        project->playing = true;
        WaveformView view;
        view.resize(size);
        view.setViewState(project.data());
        view.setTrack(&hour);
        view.setViewRange(0, kHourFrames);
        QImage screen(size, QImage::Format_RGB32);
        view.render(&screen);
        QImage source = screen.copy();
        QImage target(size, QImage::Format_RGB32);
        report.compare("repaint for the play head, " + std::to_string(size.width()) + " x " +
                           std::to_string(size.height()),
                       {[&] {
                            reference::copyBytes(target.bits(), source.constBits(),
                                                 static_cast<std::size_t>(source.sizeInBytes()));
                            benchmark::ClobberMemory();
                        },
                        {}},
                       {[&] {
                            project->play.position += kRate;
                            view.render(&screen);
                        },
                        {}},
                       1.5, kRounds, bench::Clock::ThreadCpu);
    }
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    bench::Report report(argc, argv);
    const Track hour = makeTrack(kHourFrames);
    reportPeakCache(report, hour);
    reportRenders(report, hour);
    reportRepaint(report, hour);
    return report.exitCode();
}
