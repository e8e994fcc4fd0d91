#pragma once

#include <QtGlobal>

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

/// Draws one channel's lane into 32-bit opaque pixels: background, centre line,
/// peak span, rms span over it. A column's span covers its first and last row in
/// part; those are blended, what lies between is written row by row, because
/// memory is laid out in rows.
class LanePainter {
public:
    /// `top` and `height` in device pixels, height ≥ 1.
    LanePainter(int top, int height);

    /// Draws every column with its span; level i belongs to column begin + i.
    void paint(QImage& image, ColumnRange columns, const ColumnLevels& levels);

    /// Draws the centre line alone.
    void paintEmpty(QImage& image, ColumnRange columns) const;

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

    static constexpr int kTileColumns = 256; // a tile's row bounds stay in the nearest cache

    struct Spans {
        int first[kTileColumns];
        int end[kTileColumns];
        Rows edges[kTileColumns];
    };

    [[nodiscard]] Rows rowsOf(double from, double to) const;
    void layOut(const ColumnLevels& levels, int offset, int count);
    void paintTile(QImage& image, int column, int count) const;
    void blendEdges(uchar* pixels, qsizetype bytesPerLine, int column, int count) const;

    int m_top;
    int m_bottom;
    double m_half;
    double m_centre;
    Spans m_peak{};
    Spans m_rms{};
};
