#pragma once

#include <QtGlobal>

/// Lowest address that a live object can plausibly have; anything below it is
/// a null or dangling pointer with a small offset added.
inline constexpr quintptr kLowestPlausibleAddress = 0xD0000;

/// Warns about a `this` or parent address that cannot belong to a live object.
/// Both are checked independently, nothing else happens: the caller goes on.
/// A null parent is the normal case of a top-level object; callers with an
/// optional parent pass their own address for both. Any thread; never blocks.
void checkPointers(const void* self, const void* parent);
