#include "widgets/tracerenderer.h"

#include "widgets/pixelfill.h"

#include <QImage>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace {

// Columns drawn together, row by row: as many pixels as one cache line holds.
constexpr int kColumnsPerBatch = 16;

struct Batch {
    std::array<int, kColumnsPerBatch> top;
    std::array<int, kColumnsPerBatch> bottom;
};

struct LaneGeometry {
    int offset = 0; ///< y of a sample of 0
    int scale = 0;  ///< rows of full scale
    int lastRow = 0;

    LaneGeometry(int imageHeight, int laneCount, int lane)
    {
        const int laneHeight = imageHeight / laneCount;
        offset = laneHeight * lane + laneHeight / 2;
        scale = (laneHeight - 2) / 2;
        lastRow = imageHeight - 1;
    }

    [[nodiscard]] int row(float sample) const
    {
        const float value = std::isnan(sample) ? 0.0F : std::clamp(sample, -1.0F, 1.0F);
        const int y = offset - static_cast<int>(value * static_cast<float>(scale));
        return std::clamp(y, 0, lastRow);
    }
};

void scrollLeft(QImage& image, int columns, QRgb background)
{
    const int kept = image.width() - columns;
    for (int y = 0; kept > 0 && y < image.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        std::memmove(row, row + columns, static_cast<size_t>(kept) * sizeof(QRgb));
    }
    fillPixels(image, QRect(kept, 0, columns, image.height()), background);
}

/// The rows of one column: from `y` to just before the previous column's row.
void joinColumn(Batch& batch, size_t column, int y, int previousY)
{
    batch.top[column] = y;
    batch.bottom[column] = y;
    if (previousY < 0)
        return;
    if (previousY < y)
        batch.top[column] = previousY + 1;
    else if (previousY > y)
        batch.bottom[column] = previousY - 1;
}

void drawBatch(QImage& image, const Batch& batch, int x, int columns, QRgb colour)
{
    const auto* topsEnd = batch.top.begin() + columns;
    const auto* bottomsEnd = batch.bottom.begin() + columns;
    const int top = *std::min_element(batch.top.begin(), topsEnd);
    const int bottom = *std::max_element(batch.bottom.begin(), bottomsEnd);
    for (int y = top; y <= bottom; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y)) + x;
        for (int i = 0; i < columns; ++i) {
            const auto column = static_cast<size_t>(i);
            if (y >= batch.top[column] && y <= batch.bottom[column])
                row[i] = colour;
        }
    }
}

void drawLane(QImage& image, TraceLane& lane, const LaneGeometry& geometry, qint32 firstSample,
              int firstX)
{
    Batch batch{};
    for (qint32 begin = firstSample; begin < lane.count; begin += kColumnsPerBatch) {
        const int columns = std::min(lane.count - begin, kColumnsPerBatch);
        for (int i = 0; i < columns; ++i) {
            const int y = geometry.row(lane.samples[begin + i]);
            const bool joins = lane.previousY <= geometry.lastRow;
            joinColumn(batch, static_cast<size_t>(i), y,
                       joins ? lane.previousY : TraceLane::kNoPreviousY);
            lane.previousY = y;
        }
        drawBatch(image, batch, firstX + begin - firstSample, columns, lane.colour);
    }
}

} // namespace

bool drawTraces(QImage& image, std::span<TraceLane> lanes, QRgb background)
{
    qint32 longest = 0;
    for (const TraceLane& lane : lanes)
        longest = std::max(longest, lane.count);
    const int columns = std::min(longest, image.width());
    if (columns < 1 || image.height() < 1)
        return false;

    scrollLeft(image, columns, background);
    for (size_t i = 0; i < lanes.size(); ++i) {
        const LaneGeometry geometry(image.height(), static_cast<int>(lanes.size()),
                                    static_cast<int>(i));
        drawLane(image, lanes[i], geometry, longest - columns, image.width() - columns);
    }
    return true;
}
