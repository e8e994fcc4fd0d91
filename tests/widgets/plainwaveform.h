#pragma once

#include "project/track.h"
#include "widgets/waveformgeometry.h"

#include <QImage>

/// The lanes of a waveform drawn the plain way: column after column, pixel after
/// pixel, each blended with what is there. Slow and obvious; what the renderer
/// draws must be the same to the bit. Peaks come from the samples themselves.
namespace plain_waveform {

/// One pixel of `image` under `colour` at `coverage` 0 … 1.
void blendPixel(QImage& image, int x, int y, QRgb colour, double coverage);

/// Draws all lanes below `top` (device pixels) over an image that holds the
/// background there.
void drawLanes(QImage& image, int top, const Track& track, FrameRange range);

} // namespace plain_waveform
