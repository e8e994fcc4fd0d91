#pragma once

#include <QtGlobal>

#include <memory>
#include <vector>

class QImage;

namespace lane_colours {
constexpr quint32 kBackground = 0xff1e1e1e; ///< (30, 30, 30)
constexpr quint32 kCentreLine = 0xff3c3c3c; ///< (60, 60, 60)
constexpr quint32 kPeak = 0xff50b4ff;       ///< (80, 180, 255)
constexpr quint32 kRms = 0xff2864b4;        ///< (40, 100, 180)
} // namespace lane_colours

/// Columns of device pixels, end excluded.
struct ColumnRange {
    int begin = 0;
    int end = 0;

    [[nodiscard]] int count() const { return end - begin; }
};

/// What one channel shows in each column; full scale is ±1.
struct ColumnLevels {
    std::vector<float> minimum;
    std::vector<float> maximum;
    std::vector<float> rms; ///< 0: none

    void resize(int columns);
    void fillSilent();
};

/// The rows of one channel, in device pixels: from `top`, `height` ≥ 1 of them,
/// none beyond 32767.
struct Lane {
    int top = 0;
    int height = 1;

    [[nodiscard]] int bottom() const { return top + height; }

    [[nodiscard]] double half() const { return height * 0.5; }

    [[nodiscard]] double centre() const { return top + half(); }
};

/// Draws a channel's lane into 32-bit opaque pixels: background, centre line,
/// peak span, rms span over it. A column's span covers its first and last row in
/// part; those are blended, what lies between is written row by row, because
/// memory is laid out in rows. Keeps nothing but work space between calls, which all
/// painters of a thread share, as a window may have very many of them: a painter
/// belongs to the thread that made it.
class LanePainter {
public:
    LanePainter();

    /// Draws every column with its span; level i belongs to column begin + i.
    void paint(QImage& image, Lane lane, ColumnRange columns, const ColumnLevels& levels);

    /// Draws the centre line alone.
    static void paintEmpty(QImage& image, Lane lane, ColumnRange columns);

private:
    struct Tile;

    static std::shared_ptr<Tile> sharedTile();

    std::shared_ptr<Tile> m_tile;
};
