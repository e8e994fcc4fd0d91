#pragma once

#include <QtGlobal>

#include <array>
#include <cstddef>
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
/// memory is laid out in rows. Keeps nothing but work space between calls.
class LanePainter {
public:
    /// Draws every column with its span; level i belongs to column begin + i.
    void paint(QImage& image, Lane lane, ColumnRange columns, const ColumnLevels& levels);

    /// Draws the centre line alone.
    static void paintEmpty(QImage& image, Lane lane, ColumnRange columns);

private:
    /// The rows of one span: [first, end) wholly covered, the others in part.
    struct Rows {
        int first = 0;
        int end = 0;
        int topRow = 0;
        int topAlpha = 0; ///< 0 … 254
        int bottomRow = 0;
        int bottomAlpha = 0;
    };

    // Few enough that the bounds of a tile stay in the nearest cache, and enough
    // that rows are written whole.
    static constexpr int kTileColumns = 4096;

    struct Spans {
        std::array<qint16, kTileColumns> before{};
        std::array<qint16, kTileColumns> end{};
        std::array<Rows, kTileColumns> edges;

        void set(std::size_t column, const Rows& rows);
    };

    static Rows rowsOf(Lane lane, double from, double to);
    void layOut(Lane lane, const ColumnLevels& levels, int offset, int count);
    void paintTile(QImage& image, Lane lane, int column, int count) const;
    void blendEdges(QImage& image, int column, int count) const;

    Spans m_peak;
    Spans m_rms;
    bool m_anyRms = false; ///< in the tile laid out last
};
