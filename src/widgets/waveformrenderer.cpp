#include "widgets/waveformrenderer.h"

#include "project/timetext.h"
#include "project/track.h"
#include "widgets/framemath.h"
#include "widgets/peakcache.h"
#include "widgets/samplekernels.h"
#include "widgets/timeruler.h"

#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr QColor kRulerColour(45, 45, 45);
constexpr QColor kTickColour(100, 100, 100);
constexpr QColor kLabelColour(180, 180, 180);
constexpr int kTickHeight = 4;
constexpr int kLabelFontPixels = 10;
constexpr int kLabelIndent = 2;
constexpr int kLabelRise = 6;

void fillColumns(QImage& image, int top, int bottom, ColumnRange columns)
{
    for (int row = top; row < bottom; ++row) {
        auto* const pixels = reinterpret_cast<quint32*>(image.scanLine(row));
        std::fill(pixels + columns.begin, pixels + columns.end, lane_colours::kBackground);
    }
}

/// NaN is never added: both comparisons are false.
struct Extremes {
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();

    void add(double value)
    {
        minimum = value < minimum ? value : minimum;
        maximum = value > maximum ? value : maximum;
    }

    [[nodiscard]] bool any() const { return minimum <= maximum; }
};

/// The waveform at a position between samples; beyond the ends their value holds on.
double valueAt(const float* samples, qint64 length, double position)
{
    if (position <= 0.0)
        return static_cast<double>(samples[0]);
    if (position >= static_cast<double>(length - 1))
        return static_cast<double>(samples[length - 1]);
    const auto index = static_cast<qint64>(position);
    const double fraction = position - static_cast<double>(index);
    const auto left = static_cast<double>(samples[index]);
    const auto right = static_cast<double>(samples[index + 1]);
    return left + (right - left) * fraction;
}

} // namespace

QSize WaveformScene::imageSize() const
{
    // A ratio below 1 must not leave a narrow view without a pixel.
    const auto extent = [this](int pixels) {
        return std::clamp(static_cast<int>(pixels * devicePixelRatio), 1, kMaxImageExtent);
    };
    return {extent(size.width()), extent(size.height())};
}

void WaveformRenderer::render(QImage& image, const WaveformScene& scene)
{
    const QSize size = scene.imageSize();
    if (image.size() != size || !image.reinterpretAsFormat(QImage::Format_ARGB32_Premultiplied))
        image = QImage(size, QImage::Format_ARGB32_Premultiplied);
    drawRuler(image, scene);
    drawLanes(image, scene, {0, size.width()});
}

void WaveformRenderer::scroll(QImage& image, const WaveformScene& scene, int shift)
{
    const int width = image.width();
    const int kept = width - std::abs(shift);
    for (int row = lanesOf(scene).top; row < image.height(); ++row) {
        auto* const pixels = reinterpret_cast<quint32*>(image.scanLine(row));
        std::memmove(pixels + std::max(shift, 0), pixels + std::max(-shift, 0),
                     static_cast<std::size_t>(kept) * sizeof(quint32));
    }
    drawRuler(image, scene);
    drawLanes(image, scene, shift > 0 ? ColumnRange{0, shift} : ColumnRange{kept, width});
}

bool WaveformRenderer::drawsLanes(const WaveformScene& scene)
{
    return lanesOf(scene).count > 0;
}

WaveformRenderer::Lanes WaveformRenderer::lanesOf(const WaveformScene& scene)
{
    Lanes lanes;
    lanes.top = static_cast<int>(kRulerHeight * scene.devicePixelRatio);
    lanes.bottom = scene.imageSize().height();
    if (scene.track == nullptr || scene.track->channels < 1 || scene.range.span() < 1)
        return lanes;
    lanes.height = (lanes.bottom - lanes.top) / scene.track->channels;
    lanes.count = lanes.height < 1 ? 0 : scene.track->channels;
    return lanes;
}

void WaveformRenderer::drawRuler(QImage& image, const WaveformScene& scene)
{
    const int rows = std::min(lanesOf(scene).top, image.height());
    if (rows < 1)
        return;
    // The rows below belong to the lanes, and scrolling moves those: the ruler
    // gets an image of its own over the same memory, and cannot touch them.
    QImage strip(image.bits(), image.width(), rows, image.bytesPerLine(), image.format());
    strip.setDevicePixelRatio(scene.devicePixelRatio);
    QPainter painter(&strip);
    const QRect ruler(0, 0, scene.size.width(), kRulerHeight);
    painter.fillRect(ruler, kRulerColour);
    if (!scene.showTicks)
        return;
    QFont font = painter.font();
    font.setPixelSize(kLabelFontPixels);
    painter.setFont(font);
    const WaveformGeometry geometry(scene.range, scene.size.width());
    const std::vector<RulerTick> ticks = rulerTicks(geometry, scene.sampleRate);
    painter.setPen(kTickColour);
    for (const RulerTick& tick : ticks)
        painter.drawLine(tick.x, ruler.bottom() - kTickHeight, tick.x, ruler.bottom());
    painter.setPen(kLabelColour);
    for (const RulerTick& tick : ticks)
        painter.drawText(tick.x + kLabelIndent, ruler.bottom() - kLabelRise,
                         timeText(tick.sample, scene.sampleRate));
}

void WaveformRenderer::drawLanes(QImage& image, const WaveformScene& scene, ColumnRange columns)
{
    const Lanes lanes = lanesOf(scene);
    const int lanesEnd = lanes.top + lanes.count * lanes.height;
    fillColumns(image, lanesEnd, lanes.bottom, columns);
    m_levels.resize(columns.count());
    for (std::vector<qint64>* frames : {&m_begins, &m_ends, &m_counts})
        frames->resize(static_cast<std::size_t>(columns.count()));
    for (int channel = 0; channel < lanes.count; ++channel) {
        const Lane lane{lanes.top + channel * lanes.height, lanes.height};
        const bool hasSamples =
            channel < scene.track->samples.size() && !scene.track->samples.at(channel).isEmpty();
        if (!hasSamples) {
            LanePainter::paintEmpty(image, lane, columns);
            continue;
        }
        findLevels(scene, channel, columns);
        m_lanePainter.paint(image, lane, columns, m_levels);
    }
}

void WaveformRenderer::findLevels(const WaveformScene& scene, int channel, ColumnRange columns)
{
    const QList<float>& samples = scene.track->samples.at(channel);
    const double perPixel = static_cast<double>(scene.range.span()) / scene.imageSize().width();
    m_levels.fillSilent();
    if (perPixel < 1.0) {
        interpolate(samples.constData(), samples.size(), scene.range, perPixel, columns);
        return;
    }
    const bool fromPeaks = perPixel >= static_cast<double>(PeakCache::kBlockFrames) &&
                           scene.peaks != nullptr && channel < scene.peaks->channelCount() &&
                           !scene.peaks->minima(channel).empty();
    if (fromPeaks)
        reducePeaks(scene, channel, perPixel, columns);
    else
        reduceSamples(samples.constData(), samples.size(), scene.range, perPixel, columns);
}

void WaveformRenderer::interpolate(const float* samples, qint64 length, FrameRange range,
                                   double perPixel, ColumnRange columns)
{
    const auto begin = static_cast<double>(range.begin);
    for (int x = columns.begin; x < columns.end; ++x) {
        const double a = begin + x * perPixel;
        const double b = begin + (x + 1) * perPixel;
        Extremes extremes;
        extremes.add(valueAt(samples, length, a));
        extremes.add(valueAt(samples, length, b));
        const qint64 first = std::max<qint64>(frame_math::truncated(std::ceil(a)), 0);
        const qint64 last = std::min(frame_math::truncated(std::floor(b)), length - 1);
        for (qint64 i = first; i <= last; ++i)
            extremes.add(static_cast<double>(samples[i]));
        if (!extremes.any())
            continue;
        const auto level = static_cast<std::size_t>(x - columns.begin);
        m_levels.minimum[level] = static_cast<float>(extremes.minimum);
        m_levels.maximum[level] = static_cast<float>(extremes.maximum);
    }
}

void WaveformRenderer::reduceSamples(const float* samples, qint64 length, FrameRange range,
                                     double perPixel, ColumnRange columns)
{
    layOutStretches(length, range, perPixel, columns);
    for (int i = 0; i < columns.count(); ++i) {
        // An empty stretch need not even begin inside the samples.
        const auto column = static_cast<std::size_t>(i);
        m_begins[column] = std::min(m_begins[column], m_ends[column]);
        m_counts[column] = m_ends[column] - m_begins[column];
    }
    sample_kernels::reduceColumns(samples, m_begins.data(), m_counts.data(), columns.count(),
                                  {m_levels.minimum.data(), m_levels.maximum.data()},
                                  m_levels.rms.data());
    for (std::size_t i = 0; i < m_levels.rms.size(); ++i) {
        if (m_counts[i] > 0)
            m_levels.rms[i] = std::sqrt(m_levels.rms[i] / static_cast<float>(m_counts[i]));
    }
}

void WaveformRenderer::reducePeaks(const WaveformScene& scene, int channel, double perPixel,
                                   ColumnRange columns)
{
    constexpr qint64 kBlock = PeakCache::kBlockFrames;
    const std::vector<float>& minima = scene.peaks->minima(channel);
    const auto blocks = static_cast<qint64>(minima.size());
    layOutStretches(scene.track->samples.at(channel).size(), scene.range, perPixel, columns);
    for (int i = 0; i < columns.count(); ++i) {
        const auto column = static_cast<std::size_t>(i);
        const qint64 end = std::clamp<qint64>((m_ends[column] + kBlock - 1) / kBlock, 0, blocks);
        m_begins[column] = std::min(m_begins[column] / kBlock, end);
        m_counts[column] = end - m_begins[column];
    }
    sample_kernels::reducePeaks(minima.data(), scene.peaks->maxima(channel).data(), m_begins.data(),
                                m_counts.data(), columns.count(),
                                {m_levels.minimum.data(), m_levels.maximum.data()});
}

void WaveformRenderer::layOutStretches(qint64 length, FrameRange range, double perPixel,
                                       ColumnRange columns)
{
    const auto begin = static_cast<double>(range.begin);
    for (int x = columns.begin; x < columns.end; ++x) {
        const auto column = static_cast<std::size_t>(x - columns.begin);
        const qint64 first = frame_math::floored(begin + x * perPixel);
        const qint64 end = frame_math::ceiled(begin + (x + 1) * perPixel);
        m_begins[column] = std::max<qint64>(first, 0);
        m_ends[column] = std::clamp<qint64>(end, 0, length);
    }
}
