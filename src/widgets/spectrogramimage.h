#pragma once

#include <QImage>

class SpectrumAnalyser;

/// The last 512 spectra of one channel, a column each, as a ring: the next column
/// is written after the last. The lowest band is the bottom row.
class SpectrogramImage {
public:
    static constexpr int kColumns = 512;
    static constexpr int kRows = 256;

    SpectrogramImage();

    /// Black, cyan, yellow, white for a level from 0 to 1.
    static QRgb colour(double level);

    void addColumn(const SpectrumAnalyser& analyser);

    /// All black again, the next column is the first.
    void clear();

    /// Scales the whole history into `cell` of `frame`, a 32-bit RGB image, the
    /// oldest column at the left. A pixel that covers several shows their mean.
    void drawInto(QImage& frame, const QRect& cell) const;

    [[nodiscard]] const QImage& image() const { return m_image; }

    [[nodiscard]] int nextColumn() const { return m_nextColumn; }

private:
    QImage m_image;
    int m_nextColumn = 0;
};
