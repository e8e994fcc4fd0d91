#pragma once

#include <QRect>
#include <QRgb>

class QImage;
struct LevelReading;

/// Draws level meters into a 32-bit RGB image; pixels are the image's own.
namespace level_meter {

/// Dark green through yellow to orange; `fraction` is clamped to 0..1.
QRgb colour(double fraction);

/// Fills `cell` with one channel's meter: upright when the cell is at most as wide
/// as it is high, else lying. `holdThickness` is the hold line's, in image pixels.
void paint(QImage& image, const QRect& cell, const LevelReading& reading, int holdThickness);

} // namespace level_meter
