#include "widgets/waveformcache.h"

#include "project/track.h"
#include "widgets/framemath.h"

#include <cmath>
#include <cstdlib>
#include <utility>

WaveformCache::State WaveformCache::stateFor(const WaveformScene& scene) const
{
    if (m_pixmap.isNull() || !(m_key == keyOf(scene)))
        return State::Unusable;
    if (m_range == scene.range)
        return State::Current;
    if (!m_range.isValid())
        return State::Unusable;
    return m_range.span() == scene.range.span() ? State::Scrolled : State::Outdated;
}

bool WaveformCache::render(WaveformScene scene)
{
    double shift = 0;
    double rounding = 0;
    bool scrolls = stateFor(scene) == State::Scrolled;
    if (scrolls) {
        const double perPixel = static_cast<double>(scene.range.span()) / scene.imageSize().width();
        const auto moved =
            static_cast<double>(frame_math::difference(m_range.begin, scene.range.begin)) +
            m_rounding;
        shift = std::round(moved / perPixel);
        if (shift == 0)
            return false;
        rounding = moved - shift * perPixel;
        scrolls = std::abs(shift) < scene.imageSize().width();
    }
    // A track may claim more channels than the screen has rows.
    if (WaveformRenderer::drawsLanes(scene))
        m_peaks.update(scene.track);
    scene.peaks = &m_peaks;
    QImage image = takeImage();
    if (scrolls)
        m_renderer.scroll(image, scene, static_cast<int>(shift));
    else
        m_renderer.render(image, scene);
    // Every pixel is opaque; saying so spares a search for those that are not,
    // and lets every later repaint copy instead of blend.
    image.reinterpretAsFormat(QImage::Format_RGB32);
    m_pixmap = QPixmap::fromImage(std::move(image));
    m_key = keyOf(scene);
    m_range = scene.range;
    m_rounding = scrolls ? rounding : 0;
    return true;
}

/// The pixmap's pixels, held by nobody else where the platform keeps pixmaps in
/// memory: they are drawn over in place, without a copy or an allocation.
QImage WaveformCache::takeImage()
{
    QImage image = m_pixmap.toImage();
    m_pixmap = {};
    return image;
}

void WaveformCache::forgetTrack()
{
    m_peaks.clear();
    m_pixmap = {};
    m_key = {};
    m_range = {-1, -1};
}

WaveformCache::Key WaveformCache::keyOf(const WaveformScene& scene)
{
    const Track* track = scene.track;
    return {track,
            track != nullptr ? track->length() : 0,
            track != nullptr ? track->channels : 0,
            scene.size,
            scene.devicePixelRatio,
            scene.sampleRate,
            scene.showTicks};
}
