#include "plainwaveform.h"

#include <algorithm>
#include <cmath>

namespace plain_waveform {

namespace {

constexpr QRgb kCentre = qRgb(60, 60, 60);
constexpr QRgb kPeak = qRgb(80, 180, 255);
constexpr QRgb kRms = qRgb(40, 100, 180);

struct Level {
    float low = 0;
    float high = 0;
    float rms = 0;
};

double interpolated(const QList<float>& samples, double position)
{
    if (position <= 0)
        return static_cast<double>(samples.first());
    if (position >= static_cast<double>(samples.size() - 1))
        return static_cast<double>(samples.last());
    const double index = std::floor(position);
    const auto i = static_cast<qsizetype>(index);
    const auto left = static_cast<double>(samples.at(i));
    const auto right = static_cast<double>(samples.at(i + 1));
    return left + (right - left) * (position - index);
}

Level between(const QList<float>& samples, double a, double b)
{
    double low = std::min(interpolated(samples, a), interpolated(samples, b));
    double high = std::max(interpolated(samples, a), interpolated(samples, b));
    const auto first = std::max<qsizetype>(0, std::llround(std::ceil(a)));
    const auto last = std::min<qsizetype>(samples.size() - 1, std::llround(std::floor(b)));
    for (qsizetype i = first; i <= last; ++i) {
        low = std::min(low, static_cast<double>(samples.at(i)));
        high = std::max(high, static_cast<double>(samples.at(i)));
    }
    return {static_cast<float>(low), static_cast<float>(high), 0};
}

Level over(const QList<float>& samples, qint64 begin, qint64 end, bool withRms)
{
    begin = std::max<qint64>(begin, 0);
    end = std::min<qint64>(end, samples.size());
    Level level;
    if (begin >= end)
        return level;
    level.low = level.high = samples.at(begin);
    float squares = 0;
    for (qint64 i = begin; i < end; ++i) {
        const float value = samples.at(i);
        level.low = std::min(level.low, value);
        level.high = std::max(level.high, value);
        const float square = value * value;
        squares += square;
    }
    if (withRms)
        level.rms = std::sqrt(squares / static_cast<float>(end - begin));
    return level;
}

Level levelOf(const QList<float>& samples, qint64 length, FrameRange range, int x, int width)
{
    const double perPixel = static_cast<double>(range.span()) / width;
    const double a = static_cast<double>(range.begin) + x * perPixel;
    const double b = static_cast<double>(range.begin) + (x + 1) * perPixel;
    if (perPixel < 1)
        return between(samples, a, b);
    const auto first = static_cast<qint64>(std::floor(a));
    const auto last = static_cast<qint64>(std::ceil(b));
    if (perPixel < 256)
        return over(samples, first, last, true);
    const qint64 blocks = (length + 255) / 256;
    const qint64 firstBlock = std::max<qint64>(first, 0) / 256;
    const qint64 end = std::min<qint64>(last, samples.size());
    const qint64 lastBlock = std::min((end + 255) / 256, blocks);
    return firstBlock < lastBlock ? over(samples, firstBlock * 256, lastBlock * 256, false)
                                  : Level{};
}

void fillSpan(QImage& image, int x, double from, double to, int laneTop, int laneBottom,
              QRgb colour)
{
    const double low = std::max(from, static_cast<double>(laneTop));
    const double high = std::min(to, static_cast<double>(laneBottom));
    for (int row = laneTop; row < laneBottom; ++row)
        blendPixel(image, x, row, colour, std::min(high, row + 1.0) - std::max(low, row + 0.0));
}

} // namespace

void blendPixel(QImage& image, int x, int y, QRgb colour, double coverage)
{
    if (coverage <= 0 || !image.rect().contains(x, y))
        return;
    const int a = static_cast<int>(std::min(coverage, 1.0) * 255);
    const QRgb old = image.pixel(x, y);
    const auto mix = [a](int under, int over) { return (under * (255 - a) + over * a) / 255; };
    image.setPixel(x, y,
                   qRgba(mix(qRed(old), qRed(colour)), mix(qGreen(old), qGreen(colour)),
                         mix(qBlue(old), qBlue(colour)), mix(qAlpha(old), 255)));
}

void drawLanes(QImage& image, int top, const Track& track, FrameRange range)
{
    const int laneHeight = (image.height() - top) / track.channels;
    for (int channel = 0; channel < track.channels; ++channel) {
        const int laneTop = top + channel * laneHeight;
        const double half = laneHeight * 0.5;
        const double centre = laneTop + half;
        const QList<float>& samples = track.samples.at(channel);
        for (int x = 0; x < image.width(); ++x) {
            blendPixel(image, x, static_cast<int>(centre), kCentre, 1);
            if (samples.isEmpty())
                continue;
            const Level level = levelOf(samples, track.length(), range, x, image.width());
            double from = centre - static_cast<double>(level.high) * half;
            double to = centre - static_cast<double>(level.low) * half;
            if (to - from < 1) {
                const double middle = (from + to) / 2;
                from = middle - 0.5;
                to = middle + 0.5;
            }
            fillSpan(image, x, from, to, laneTop, laneTop + laneHeight, kPeak);
            const double reach = static_cast<double>(level.rms) * half;
            if (reach > 0)
                fillSpan(image, x, centre - reach, centre + reach, laneTop, laneTop + laneHeight,
                         kRms);
        }
    }
}

} // namespace plain_waveform
