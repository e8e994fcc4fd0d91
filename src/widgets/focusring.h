#pragma once

#include <QtGlobal>

class QPainter;
class QWidget;

/// How a control that paints itself, or whose style sheet leaves no room for the
/// style's own mark, shows that it has the keyboard: one line beside another of
/// opposite brightness, so that it stands out from any ground.
namespace focus_ring {

inline constexpr quint32 kOuter = 0xffffffff; ///< white
inline constexpr quint32 kInner = 0xff101010; ///< nearly black

/// Draws the ring along the edge of `widget` if it has the focus and the user
/// moves it by keyboard; nothing otherwise.
void paint(QPainter& painter, const QWidget& widget);

} // namespace focus_ring
