#pragma once

#include <QRect>
#include <QRgb>

class QImage;

/// Sets the part of `rect` that lies inside `image`, a 32-bit RGB one, to `colour`.
/// Does not allocate as long as the image's pixels are not shared.
void fillPixels(QImage& image, const QRect& rect, QRgb colour);
