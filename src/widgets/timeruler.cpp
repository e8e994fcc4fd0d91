#include "widgets/timeruler.h"

#include "widgets/framemath.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr std::array kStepsSeconds{0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1,   0.2,   0.5,  1.0,
                                   2.0,   5.0,   10.0,  15.0, 30.0, 60.0, 120.0, 300.0, 600.0};
constexpr double kMaxTicks = 30.0;
constexpr double kFallbackStepSeconds = 1.0;

/// Ticks are multiples of the step, so that scrolling never moves a label.
class TickSeries {
public:
    TickSeries(const WaveformGeometry& geometry, qint32 rateHz)
        : m_geometry(geometry)
        , m_rate(rateHz)
        , m_end(seconds(geometry.range().end))
        , m_step(rulerStepSeconds(seconds(geometry.range().span())))
    {
    }

    [[nodiscard]] qint64 firstIndexFrom(qint64 sample) const
    {
        return frame_math::truncated(std::ceil(seconds(sample) / m_step));
    }

    [[nodiscard]] bool contains(qint64 index) const { return at(index) <= m_end; }

    [[nodiscard]] RulerTick tick(qint64 index) const
    {
        const qint64 sample = frame_math::truncated(m_rate * at(index));
        return {sample, m_geometry.sampleToX(sample)};
    }

    /// About how many ticks the view holds.
    [[nodiscard]] double count() const
    {
        return (m_end - seconds(m_geometry.range().begin)) / m_step;
    }

private:
    [[nodiscard]] double at(qint64 index) const { return static_cast<double>(index) * m_step; }

    [[nodiscard]] double seconds(qint64 frames) const
    {
        return m_rate > 0 ? static_cast<double>(frames) / m_rate : 0.0;
    }

    WaveformGeometry m_geometry;
    double m_rate;
    double m_end;
    double m_step;
};

/// At most `limit`: so far out that neighbouring ticks are the same number, the
/// end alone would not stop it.
std::vector<RulerTick> everyTick(const TickSeries& series, qint64 first, double limit)
{
    std::vector<RulerTick> ticks;
    for (qint64 index = first; series.contains(index) && static_cast<double>(ticks.size()) < limit;
         index = frame_math::sum(index, 1))
        ticks.push_back(series.tick(index));
    return ticks;
}

/// One tick a column; there are at least two ticks in each.
std::vector<RulerTick> firstTickOfEachColumn(const TickSeries& series,
                                             const WaveformGeometry& geometry)
{
    std::vector<RulerTick> ticks;
    for (int x = 0; x < geometry.width(); ++x) {
        qint64 index = series.firstIndexFrom(geometry.xToSample(x));
        RulerTick tick = series.tick(index);
        if (tick.x < x) // where a column begins is itself truncated to a frame
            tick = series.tick(frame_math::sum(index, 1));
        if (ticks.empty() || tick.x > ticks.back().x)
            ticks.push_back(tick);
    }
    return ticks;
}

} // namespace

double rulerStepSeconds(double durationSeconds)
{
    const auto* const step =
        std::find_if(kStepsSeconds.begin(), kStepsSeconds.end(), [durationSeconds](double seconds) {
            return durationSeconds / seconds <= kMaxTicks;
        });
    return step == kStepsSeconds.end() ? kFallbackStepSeconds : *step;
}

std::vector<RulerTick> rulerTicks(const WaveformGeometry& geometry, qint32 rateHz)
{
    if (!geometry.range().isValid())
        return {};
    const TickSeries series(geometry, rateHz);
    const double limit = std::max(2.0 * geometry.width(), kMaxTicks) + 2;
    if (series.count() > limit)
        return firstTickOfEachColumn(series, geometry);
    return everyTick(series, series.firstIndexFrom(geometry.range().begin), limit);
}
