#include "widgets/scopelayout.h"

#include <QColor>
#include <QFont>
#include <QPainter>

#include <utility>

namespace {

constexpr int kTextMarginPx = 4;
constexpr int kTextHeightPx = 11;
constexpr QColor kTextColour(255, 255, 255, 160);
// Dark enough to read the text on a white spectrogram or a yellow meter.
constexpr QColor kPlateColour(0, 0, 0, 192);
constexpr int kPlateMarginPx = 2;

/// Where slot `index` of `slots` begins, of `extent` pixels shared out evenly.
int slotBegin(int extent, int slotCount, int index)
{
    return static_cast<int>(static_cast<qint64>(extent) * index / slotCount);
}

/// Begin and length of slot `index`, without the gap to the next slot.
std::pair<int, int> slotSpan(int extent, int slotCount, int index, int gap)
{
    const int begin = slotBegin(extent + gap, slotCount, index);
    return {begin, slotBegin(extent + gap, slotCount, index + 1) - gap - begin};
}

} // namespace

namespace scope_layout {

int gridColumns(int channels)
{
    int columns = 1;
    while (columns * columns < channels)
        ++columns;
    return columns;
}

QRect gridCell(QSize area, int channels, int index, int gap)
{
    const int columns = gridColumns(channels);
    const int rows = (channels + columns - 1) / columns;
    const auto [x, width] = slotSpan(area.width(), columns, index % columns, gap);
    const auto [y, height] = slotSpan(area.height(), rows, index / columns, gap);
    return {x, y, qMax(width, 0), qMax(height, 0)};
}

QRect lane(QSize area, int channels, int index)
{
    const int height = area.height() / channels;
    return {0, height * index, area.width(), height};
}

void paintText(QPainter& painter, const QRect& cell, Qt::Alignment alignment, const QString& text)
{
    QFont font = painter.font();
    font.setPixelSize(kTextHeightPx);
    painter.setFont(font);
    const QRect inner =
        cell.adjusted(kTextMarginPx, kTextMarginPx / 2, -kTextMarginPx, -kTextMarginPx / 2);
    const int flags = static_cast<int>(alignment) | Qt::TextSingleLine | Qt::TextDontClip;
    const QRect written = painter.boundingRect(inner, flags, text);
    painter.fillRect(written.adjusted(-kPlateMarginPx, 0, kPlateMarginPx, 0), kPlateColour);
    painter.setPen(kTextColour);
    painter.drawText(inner, flags, text);
}

} // namespace scope_layout
