#pragma once

#include <QRect>
#include <QRgb>
#include <QSize>
#include <QString>

class QPainter;

/// Where the channels of a scope stand, and what is written on them. Pure: sizes
/// and rectangles are in whatever pixels the caller counts in.
namespace scope_layout {

/// What no channel covers.
constexpr QRgb kEmptyArea = qRgb(34, 34, 34);

/// Columns of the grid for `channels` ≥ 1: the square root, rounded up.
int gridColumns(int channels);

/// The cell of channel `index` in the grid over `area`; neighbouring cells stand
/// `gap` apart. Empty when the area has no room for it.
QRect gridCell(QSize area, int channels, int index, int gap);

/// The lane of channel `index`: equal lanes from the top, what is left over stays
/// below the last.
QRect lane(QSize area, int channels, int index);

/// Writes `text` on a dark plate into the cell's corner that `alignment` names.
void paintText(QPainter& painter, const QRect& cell, Qt::Alignment alignment, const QString& text);

} // namespace scope_layout
