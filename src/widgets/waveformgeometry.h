#pragma once

#include <QtGlobal>

/// A stretch of the time line in frames, end excluded.
struct FrameRange {
    qint64 begin = 0;
    qint64 end = 0;

    /// end − begin; saturates when that does not fit.
    [[nodiscard]] qint64 span() const;

    [[nodiscard]] bool isValid() const { return end > begin; }

    friend bool operator==(const FrameRange&, const FrameRange&) = default;
};

/// What happens to a range that is about to become the visible one: it never
/// begins before frame 0; one that would slides right and keeps its span (of at
/// least one frame).
[[nodiscard]] FrameRange visibleRange(qint64 begin, qint64 end);

/// Frames of a visible range ↔ logical pixels of a view `width` wide. A value:
/// no widget, no state, any thread. Positions are truncated toward zero, never
/// rounded, and saturate instead of overflowing.
class WaveformGeometry {
public:
    /// The wheel never zooms in below this span.
    static constexpr qint64 kMinSpanFrames = 16;

    WaveformGeometry(FrameRange range, int width);

    [[nodiscard]] FrameRange range() const { return m_range; }

    [[nodiscard]] int width() const { return m_width; }

    /// The frame at pixel `x`; the range's begin without a width.
    [[nodiscard]] qint64 xToSample(int x) const;

    /// The pixel of `sample`, which may lie outside the view; 0 when span or
    /// width is below 1.
    [[nodiscard]] int sampleToX(qint64 sample) const;

    /// Frames per pixel; 1 without a width.
    [[nodiscard]] double samplesPerPixel() const;

    /// The range after a drag by `dx` pixels that found the view at `anchorBegin`.
    [[nodiscard]] FrameRange panned(qint64 anchorBegin, int dx) const;

    /// The range after `notches` of the wheel (positive: in) at pixel `x`, whose
    /// frame stays under the pointer.
    [[nodiscard]] FrameRange zoomed(double notches, int x) const;

private:
    FrameRange m_range;
    int m_width;
};
