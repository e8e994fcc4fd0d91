#include "widgets/levelmeterpainter.h"

#include "widgets/levelballistics.h"
#include "widgets/pixelfill.h"
#include "widgets/scopelayout.h"

#include <QColor>
#include <QImage>

#include <algorithm>

namespace {

constexpr double kVisibleFrom = 0.001;
constexpr int kPeakDarkerFactor = 250;

/// The cell's part from its foot (bottom or left edge) up to `value`.
QRect bar(const QRect& cell, bool upright, double value)
{
    const double height = std::clamp(value, 0.0, 1.0);
    QRect filled = cell;
    if (upright)
        filled.setTop(cell.top() + static_cast<int>((1.0 - height) * cell.height()));
    else
        filled.setWidth(static_cast<int>(height * cell.width()));
    return filled;
}

/// The line that marks `value`, moved inside the cell where it would stick out.
QRect mark(const QRect& cell, bool upright, double value, int thickness)
{
    const double height = std::clamp(value, 0.0, 1.0);
    if (upright) {
        const int y = cell.top() + static_cast<int>((1.0 - height) * cell.height());
        const int lowest = std::max(cell.top(), cell.bottom() + 1 - thickness);
        return {cell.left(), std::min(y, lowest), cell.width(), thickness};
    }
    const int x = cell.left() + static_cast<int>(height * cell.width());
    const int rightmost = std::max(cell.left(), cell.right() + 1 - thickness);
    return {std::min(x, rightmost), cell.top(), thickness, cell.height()};
}

} // namespace

namespace level_meter {

QRgb colour(double fraction)
{
    const double v = std::clamp(fraction, 0.0, 1.0);
    if (v < 0.5)
        return qRgb(static_cast<int>(506 * v), static_cast<int>(278 * v + 81), 0);
    return qRgb(static_cast<int>(253 - 10 * (v - 0.5)), static_cast<int>(220 - 262 * (v - 0.5)), 0);
}

void paint(QImage& image, const QRect& cell, const LevelReading& reading, int holdThickness)
{
    const bool upright = cell.width() <= cell.height();
    fillPixels(image, cell, scope_layout::kEmptyArea);
    if (reading.displayedPeak > kVisibleFrom) {
        const QColor bright = QColor::fromRgb(colour(reading.displayedPeak));
        fillPixels(image, bar(cell, upright, reading.displayedPeak),
                   bright.darker(kPeakDarkerFactor).rgb());
    }
    if (reading.smoothedRms > kVisibleFrom) {
        fillPixels(image, bar(cell, upright, reading.smoothedRms), colour(reading.smoothedRms));
    }
    if (reading.peakHold > kVisibleFrom && reading.peakHold > reading.displayedPeak) {
        const QRect line = mark(cell, upright, reading.peakHold, holdThickness);
        fillPixels(image, line.intersected(cell), colour(reading.peakHold));
    }
}

} // namespace level_meter
