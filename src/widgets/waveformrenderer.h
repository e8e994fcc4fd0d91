#pragma once

#include "widgets/lanepainter.h"
#include "widgets/waveformgeometry.h"

#include <QSize>

#include <vector>

class PeakCache;
class QImage;
struct Track;

/// Logical pixels at the top of a view that the time ruler takes.
constexpr int kRulerHeight = 20;

/// Device pixels that an image has at most each way: as far as the toolkit's
/// painter reaches, and a row's number fits 16 bits.
constexpr int kMaxImageExtent = 32767;

/// What a view shows, and where; only read, and only during a call.
struct WaveformScene {
    const Track* track = nullptr;     ///< null: no lanes
    const PeakCache* peaks = nullptr; ///< up to date with the track
    FrameRange range;
    bool showTicks = false;
    qint32 sampleRate = 0; ///< Hz, of the time line
    QSize size;            ///< logical pixels, at least 1 × 1
    double devicePixelRatio = 1.0;

    /// Device pixels of the image: the logical size times the ratio, truncated;
    /// from 1 to `kMaxImageExtent` each way.
    [[nodiscard]] QSize imageSize() const;
};

/// Draws a time ruler and one lane per channel into an image. Knows no widget
/// and no event. Keeps nothing but work space between calls.
class WaveformRenderer {
public:
    /// Whether the scene has room for a lane of every channel; without it none is
    /// drawn, and no peaks are needed.
    [[nodiscard]] static bool drawsLanes(const WaveformScene& scene);

    /// Draws all of the scene into `image`, which is made anew only when it does
    /// not have the scene's size.
    void render(QImage& image, const WaveformScene& scene);

    /// Draws the scene into an `image` that shows it `shift` device pixels
    /// further left: what stays in view is moved, only the uncovered columns are
    /// drawn. The ruler is drawn whole. 0 < |shift| < image width.
    void scroll(QImage& image, const WaveformScene& scene, int shift);

private:
    /// The rows of the channels' lanes, in device pixels.
    struct Lanes {
        int top = 0;
        int bottom = 0;
        int count = 0; ///< 0: nothing to draw
        int height = 0;
    };

    static Lanes lanesOf(const WaveformScene& scene);
    static void drawRuler(QImage& image, const WaveformScene& scene);
    void drawLanes(QImage& image, const WaveformScene& scene, ColumnRange columns);

    void findLevels(const WaveformScene& scene, int channel, ColumnRange columns);
    void interpolate(const float* samples, qint64 length, FrameRange range, double perPixel,
                     ColumnRange columns);
    void reduceSamples(const float* samples, qint64 length, FrameRange range, double perPixel,
                       ColumnRange columns);
    void reducePeaks(const WaveformScene& scene, int channel, double perPixel, ColumnRange columns);

    /// The frames that each column shows: from its begin to its end, which may
    /// lie below the begin when the column is beyond the channel's end.
    void layOutStretches(qint64 length, FrameRange range, double perPixel, ColumnRange columns);

    LanePainter m_lanePainter;
    ColumnLevels m_levels;
    std::vector<qint64> m_begins;
    std::vector<qint64> m_ends;
    std::vector<qint64> m_counts;
};
