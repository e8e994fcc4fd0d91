#include "widgets/pixelfill.h"

#include <QImage>

#include <algorithm>

void fillPixels(QImage& image, const QRect& rect, QRgb colour)
{
    const QRect inside = rect.intersected(image.rect());
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        std::fill_n(row + inside.left(), inside.width(), colour);
    }
}
