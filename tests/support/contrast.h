#pragma once

#include <QtGlobal>

/// How well two opaque colours (0xAARRGGBB, alpha ignored) can be told apart: 1
/// for the same colour to 21 for black on white, after the definition of the Web
/// Content Accessibility Guidelines.
[[nodiscard]] double contrast(quint32 first, quint32 second);

/// Least contrast for the shape of a control, and for text.
inline constexpr double kControlContrast = 3.0;
inline constexpr double kTextContrast = 4.5;
