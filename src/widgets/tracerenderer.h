#pragma once

#include <QRgb>
#include <QtGlobal>

#include <span>

class QImage;

/// One channel of a scrolling oscilloscope.
struct TraceLane {
    static constexpr int kNoPreviousY = -1;

    const float* samples = nullptr; ///< borrowed for the call
    qint32 count = 0;
    QRgb colour = 0;
    /// Row of the newest column, kept from call to call so that columns join.
    int previousY = kNoPreviousY;
};

/// Scrolls `image`, a 32-bit RGB one, to the left by one column per sample of the
/// lane with the most, and draws the new columns: every lane keeps an equal share
/// of the height, from the top. Of more samples than the image has columns, the
/// newest are drawn. Returns false, with nothing changed, when no lane has any.
/// Allocates only when the image's pixels are shared.
bool drawTraces(QImage& image, std::span<TraceLane> lanes, QRgb background);
