#include "widgets/waveformgeometry.h"

#include "widgets/framemath.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kZoomPerNotch = 0.8;

} // namespace

qint64 FrameRange::span() const
{
    return frame_math::difference(end, begin);
}

FrameRange visibleRange(qint64 begin, qint64 end)
{
    if (begin >= 0)
        return {begin, end};
    return {0, std::max<qint64>(frame_math::difference(end, begin), 1)};
}

WaveformGeometry::WaveformGeometry(FrameRange range, int width)
    : m_range(range)
    , m_width(width)
{
}

qint64 WaveformGeometry::xToSample(int x) const
{
    if (m_width < 1)
        return m_range.begin;
    return frame_math::sum(m_range.begin, frame_math::scaled(m_range.span(), x, m_width));
}

int WaveformGeometry::sampleToX(qint64 sample) const
{
    const qint64 span = m_range.span();
    if (span < 1 || m_width < 1)
        return 0;
    const qint64 offset = frame_math::difference(sample, m_range.begin);
    const qint64 x = frame_math::scaled(m_width, offset, span);
    return static_cast<int>(
        std::clamp<qint64>(x, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

double WaveformGeometry::samplesPerPixel() const
{
    return m_width < 1 ? 1.0 : static_cast<double>(m_range.span()) / m_width;
}

FrameRange WaveformGeometry::panned(qint64 anchorBegin, int dx) const
{
    const qint64 moved = frame_math::truncated(dx * samplesPerPixel());
    const qint64 begin = frame_math::difference(anchorBegin, moved);
    return {begin, frame_math::sum(begin, m_range.span())};
}

FrameRange WaveformGeometry::zoomed(double notches, int x) const
{
    const double factor = std::pow(kZoomPerNotch, notches);
    const auto span = static_cast<double>(m_range.span());
    const qint64 newSpan = std::max(frame_math::truncated(span * factor), kMinSpanFrames);
    const double fraction = m_width < 1 ? 0.5 : static_cast<double>(x) / m_width;
    const qint64 before = frame_math::truncated(static_cast<double>(newSpan) * fraction);
    const qint64 begin = frame_math::difference(xToSample(x), before);
    return {begin, frame_math::sum(begin, newSpan)};
}
