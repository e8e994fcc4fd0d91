#pragma once

#include "widgets/peakcache.h"
#include "widgets/waveformrenderer.h"

#include <QImage>
#include <QPixmap>

/// The rendered picture of a view, with the peaks it is drawn from.
///
/// What makes it stale: another track, frame count, channel count, range, size,
/// device pixel ratio, sample rate, or ticks shown or hidden. When only the
/// range's begin has moved, the picture is scrolled by whole device pixels and
/// just the uncovered columns are drawn; a move below half a device pixel draws
/// nothing. However often it is scrolled, the picture is never more than half a
/// device pixel from where the range has it.
///
/// GUI thread only; keeps no pointer into the samples. The track's address is
/// its identity: `forgetTrack()` before that track dies.
class WaveformCache {
public:
    enum class State {
        Current,  ///< shows the scene
        Scrolled, ///< shows the scene but for the range's begin
        Outdated, ///< shows the same track, length and size: fit to be shown for a moment
        Unusable, ///< there is none, or it shows something else or no frame at all
    };

    [[nodiscard]] State stateFor(const WaveformScene& scene) const;

    /// Makes the picture show `scene` (its `peaks` are provided here). Returns
    /// false when nothing had to be drawn for it.
    bool render(WaveformScene scene);

    /// Stale from now on, peaks included.
    void forgetTrack();

    /// Device pixels, at device pixel ratio 1; null until the first render.
    [[nodiscard]] const QPixmap& pixmap() const { return m_pixmap; }

private:
    /// All that a picture depends on but its range.
    struct Key {
        const Track* track = nullptr;
        qint64 frames = 0;
        qint32 channels = 0;
        QSize size;
        double devicePixelRatio = 0;
        qint32 sampleRate = 0;
        bool ticks = false;

        friend bool operator==(const Key&, const Key&) = default;
    };

    static Key keyOf(const WaveformScene& scene);
    QImage takeImage();

    WaveformRenderer m_renderer;
    PeakCache m_peaks;
    QPixmap m_pixmap;
    Key m_key;
    FrameRange m_range{-1, -1};
    double m_rounding = 0; ///< frames by which the picture begins after `m_range`
};
