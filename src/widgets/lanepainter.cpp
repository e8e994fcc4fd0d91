#include "widgets/lanepainter.h"

#include "project/kernelclones.h"

#include <QImage>

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

constexpr int kOpaque = 255;

// Few enough that the bounds of a tile stay in the nearest cache, and enough that
// rows are written whole.
constexpr int kTileColumns = 4096;

/// The rows of one span: [first, end) wholly covered, the others in part.
struct Rows {
    int first = 0;
    int end = 0;
    int topRow = 0;
    int topAlpha = 0; ///< 0 … 254
    int bottomRow = 0;
    int bottomAlpha = 0;
};

struct Spans {
    std::array<qint16, kTileColumns> before{};
    std::array<qint16, kTileColumns> end{};
    std::array<Rows, kTileColumns> edges;

    void set(std::size_t column, const Rows& rows)
    {
        before[column] = static_cast<qint16>(rows.first - 1);
        end[column] = static_cast<qint16>(rows.end);
        edges[column] = rows;
    }
};

/// One 8-bit channel of `old` under `colour`, at `shift` in the pixel.
quint32 blendedChannel(quint32 old, quint32 colour, int alpha, int shift)
{
    const auto a = static_cast<quint32>(alpha);
    const quint32 under = (old >> shift) & 0xffU;
    const quint32 over = (colour >> shift) & 0xffU;
    return ((under * (kOpaque - a) + over * a) / kOpaque) << shift;
}

/// Truncating integer blend; both colours are opaque, and so is the result.
quint32 blended(quint32 old, quint32 colour, int alpha)
{
    return blendedChannel(old, colour, alpha, 0) | blendedChannel(old, colour, alpha, 8) |
           blendedChannel(old, colour, alpha, 16) | blendedChannel(old, colour, alpha, 24);
}

int alphaOf(double coverage)
{
    return coverage > 0.0 ? static_cast<int>(std::min(coverage, 1.0) * kOpaque) : 0;
}

/// One row of a tile: the rms span over the peak span over `base`. Spans are
/// given by the row before their first and the row after their last, so that
/// each bound takes one comparison.
VELA_KERNEL_CLONES void paintRow(quint32* pixels, int count, qint16 row, quint32 base,
                                 const qint16* peakBefore, const qint16* peakEnd,
                                 const qint16* rmsBefore, const qint16* rmsEnd)
{
    for (int i = 0; i < count; ++i) {
        const bool inPeak = (row > peakBefore[i]) & (row < peakEnd[i]);
        const bool inRms = (row > rmsBefore[i]) & (row < rmsEnd[i]);
        const quint32 under = inPeak ? lane_colours::kPeak : base;
        pixels[i] = inRms ? lane_colours::kRms : under;
    }
}

/// The same where no column has an rms span.
VELA_KERNEL_CLONES void paintPeakRow(quint32* pixels, int count, qint16 row, quint32 base,
                                     const qint16* peakBefore, const qint16* peakEnd)
{
    for (int i = 0; i < count; ++i) {
        const bool inPeak = (row > peakBefore[i]) & (row < peakEnd[i]);
        pixels[i] = inPeak ? lane_colours::kPeak : base;
    }
}

quint32* pixelsOfRow(uchar* bits, qsizetype bytesPerLine, int row)
{
    return reinterpret_cast<quint32*>(bits + row * bytesPerLine);
}

Rows rowsOf(Lane lane, double from, double to)
{
    const double low = std::max(std::min(from, to), static_cast<double>(lane.top));
    const double high = std::min(std::max(from, to), static_cast<double>(lane.bottom()));
    Rows rows;
    if (!(high > low))
        return rows;
    rows.first = static_cast<int>(low); // both are at or above row 0: truncation is floor
    rows.end = static_cast<int>(high);
    rows.end += rows.end < high ? 1 : 0;
    const int topAlpha = alphaOf(std::min(high, rows.first + 1.0) - low);
    if (topAlpha < kOpaque) {
        rows.topRow = rows.first++;
        rows.topAlpha = topAlpha;
    }
    if (rows.first < rows.end) {
        const int bottomAlpha = alphaOf(high - std::max(low, rows.end - 1.0));
        if (bottomAlpha < kOpaque) {
            rows.bottomRow = --rows.end;
            rows.bottomAlpha = bottomAlpha;
        }
    }
    return rows;
}

} // namespace

/// The spans of the columns that are being painted.
struct LanePainter::Tile {
    void layOut(Lane lane, const ColumnLevels& levels, int offset, int count);
    void paint(QImage& image, Lane lane, int column, int count) const;
    void blendEdges(QImage& image, int column, int count) const;

    Spans peak;
    Spans rms;
    bool anyRms = false;
};

LanePainter::LanePainter()
    : m_tile(sharedTile())
{
}

std::shared_ptr<LanePainter::Tile> LanePainter::sharedTile()
{
    thread_local std::weak_ptr<Tile> shared;
    std::shared_ptr<Tile> tile = shared.lock();
    if (!tile) {
        tile = std::make_shared<Tile>();
        shared = tile;
    }
    return tile;
}

void ColumnLevels::resize(int columns)
{
    for (std::vector<float>* level : {&minimum, &maximum, &rms})
        level->resize(static_cast<std::size_t>(columns));
}

void ColumnLevels::fillSilent()
{
    for (std::vector<float>* level : {&minimum, &maximum, &rms})
        std::fill(level->begin(), level->end(), 0.0F);
}

void LanePainter::paint(QImage& image, Lane lane, ColumnRange columns, const ColumnLevels& levels)
{
    for (int column = columns.begin; column < columns.end; column += kTileColumns) {
        const int count = std::min(kTileColumns, columns.end - column);
        m_tile->layOut(lane, levels, column - columns.begin, count);
        m_tile->paint(image, lane, column, count);
        m_tile->blendEdges(image, column, count);
    }
}

void LanePainter::paintEmpty(QImage& image, Lane lane, ColumnRange columns)
{
    const int centreRow = static_cast<int>(lane.centre());
    for (int row = lane.top; row < lane.bottom(); ++row) {
        quint32* const pixels = pixelsOfRow(image.bits(), image.bytesPerLine(), row);
        std::fill(pixels + columns.begin, pixels + columns.end,
                  row == centreRow ? lane_colours::kCentreLine : lane_colours::kBackground);
    }
}

void LanePainter::Tile::layOut(Lane lane, const ColumnLevels& levels, int offset, int count)
{
    constexpr double kMinHeight = 1.0; // so that silence shows as a line
    const double centre = lane.centre();
    const double half = lane.half();
    anyRms = false;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        const std::size_t level = static_cast<std::size_t>(offset) + i;
        double top = centre - static_cast<double>(levels.maximum[level]) * half;
        double bottom = centre - static_cast<double>(levels.minimum[level]) * half;
        if (bottom - top < kMinHeight) {
            const double middle = (top + bottom) * 0.5;
            top = middle - kMinHeight / 2;
            bottom = middle + kMinHeight / 2;
        }
        peak.set(i, rowsOf(lane, top, bottom));
        const double reach = static_cast<double>(levels.rms[level]) * half;
        anyRms = anyRms || reach > 0.0;
        rms.set(i, reach > 0.0 ? rowsOf(lane, centre - reach, centre + reach) : Rows{});
    }
}

void LanePainter::Tile::paint(QImage& image, Lane lane, int column, int count) const
{
    uchar* const bits = image.bits();
    const qsizetype bytesPerLine = image.bytesPerLine();
    const int centreRow = static_cast<int>(lane.centre());
    for (int row = lane.top; row < lane.bottom(); ++row) {
        quint32* const pixels = pixelsOfRow(bits, bytesPerLine, row) + column;
        const quint32 base =
            row == centreRow ? lane_colours::kCentreLine : lane_colours::kBackground;
        if (anyRms)
            paintRow(pixels, count, static_cast<qint16>(row), base, peak.before.data(),
                     peak.end.data(), rms.before.data(), rms.end.data());
        else
            paintPeakRow(pixels, count, static_cast<qint16>(row), base, peak.before.data(),
                         peak.end.data());
    }
}

void LanePainter::Tile::blendEdges(QImage& image, int column, int count) const
{
    uchar* const bits = image.bits();
    const qsizetype bytesPerLine = image.bytesPerLine();
    for (int i = 0; i < count; ++i) {
        const auto blend = [&](int row, int alpha, quint32 colour) {
            quint32& pixel = pixelsOfRow(bits, bytesPerLine, row)[column + i];
            pixel = blended(pixel, colour, alpha);
        };
        const Rows& peakRows = peak.edges[static_cast<std::size_t>(i)];
        const Rows& rmsRows = rms.edges[static_cast<std::size_t>(i)];
        // Where the rms span lies opaque over an edge of the peak span, that
        // edge is gone.
        const auto hidden = [&rmsRows](int row) {
            return row >= rmsRows.first && row < rmsRows.end;
        };
        if (peakRows.topAlpha > 0 && !hidden(peakRows.topRow))
            blend(peakRows.topRow, peakRows.topAlpha, lane_colours::kPeak);
        if (peakRows.bottomAlpha > 0 && !hidden(peakRows.bottomRow))
            blend(peakRows.bottomRow, peakRows.bottomAlpha, lane_colours::kPeak);
        if (rmsRows.topAlpha > 0)
            blend(rmsRows.topRow, rmsRows.topAlpha, lane_colours::kRms);
        if (rmsRows.bottomAlpha > 0)
            blend(rmsRows.bottomRow, rmsRows.bottomAlpha, lane_colours::kRms);
    }
}
