#include "widgets/spectrogramimage.h"

#include "widgets/spectrumanalyser.h"

#include <QColor>

#include <algorithm>
#include <cstring>

namespace {

static_assert(SpectrogramImage::kRows == SpectrumAnalyser::kBands);

struct Span {
    int begin = 0;
    int end = 0;

    bool operator==(const Span&) const = default;
};

/// The source pixels, at least one, that pixel `index` of `extent` covers.
Span covered(int index, int extent, int sourceExtent)
{
    const int begin = index * sourceExtent / extent;
    const int end = (index + 1) * sourceExtent / extent;
    return {begin, std::max(end, begin + 1)};
}

QRgb meanColour(const QImage& image, const Span& rows, const Span& columns, int firstColumn)
{
    int red = 0;
    int green = 0;
    int blue = 0;
    for (int y = rows.begin; y < rows.end; ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = columns.begin; x < columns.end; ++x) {
            const QRgb pixel = row[(firstColumn + x) % SpectrogramImage::kColumns];
            red += qRed(pixel);
            green += qGreen(pixel);
            blue += qBlue(pixel);
        }
    }
    const int count = (rows.end - rows.begin) * (columns.end - columns.begin);
    return qRgb(red / count, green / count, blue / count);
}

} // namespace

SpectrogramImage::SpectrogramImage()
    : m_image(kColumns, kRows, QImage::Format_RGB32)
{
    clear();
}

QRgb SpectrogramImage::colour(double level)
{
    const double v = std::clamp(level, 0.0, 1.0);
    if (v < 0.25)
        return qRgb(0, 0, static_cast<int>(720 * v));
    if (v < 0.5) {
        return qRgb(0, static_cast<int>(1020 * (v - 0.25)),
                    static_cast<int>(180 + 300 * (v - 0.25)));
    }
    if (v < 0.75)
        return qRgb(static_cast<int>(1020 * (v - 0.5)), 255,
                    static_cast<int>(255 - 1020 * (v - 0.5)));
    return qRgb(255, 255, static_cast<int>(1020 * (v - 0.75)));
}

void SpectrogramImage::addColumn(const SpectrumAnalyser& analyser)
{
    for (int band = 0; band < kRows; ++band) {
        auto* row = reinterpret_cast<QRgb*>(m_image.scanLine(kRows - 1 - band));
        row[m_nextColumn] = colour(analyser.level(band));
    }
    m_nextColumn = (m_nextColumn + 1) % kColumns;
}

void SpectrogramImage::clear()
{
    m_image.fill(Qt::black);
    m_nextColumn = 0;
}

void SpectrogramImage::drawInto(QImage& frame, const QRect& cell) const
{
    const QRect inside = cell.intersected(frame.rect());
    const auto rowBytes = static_cast<size_t>(inside.width()) * sizeof(QRgb);
    const QRgb* drawn = nullptr;
    Span drawnRows;
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(frame.scanLine(y)) + inside.left();
        const Span rows = covered(y - cell.top(), cell.height(), kRows);
        if (drawn != nullptr && rows == drawnRows) {
            std::memcpy(row, drawn, rowBytes);
            continue;
        }
        for (int i = 0; i < inside.width(); ++i) {
            const Span columns = covered(inside.left() - cell.left() + i, cell.width(), kColumns);
            row[i] = meanColour(m_image, rows, columns, m_nextColumn);
        }
        drawn = row;
        drawnRows = rows;
    }
}
