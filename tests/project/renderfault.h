#pragma once

#include <QtGlobal>

/// Faults of the kind that the decoder's rendering thread makes, and of others.
namespace render_fault {

/// Gives the calling thread the name of the toolkit's rendering thread.
void becomeRenderer();

#define VELA_UNCHECKED __attribute__((noinline, no_sanitize("address", "undefined", "thread")))

VELA_UNCHECKED inline void readAt(quintptr address)
{
    (void)*reinterpret_cast<const volatile int*>(address); // NOLINT(clang-analyzer-core.*)
}

VELA_UNCHECKED inline void writeAt(quintptr address)
{
    *reinterpret_cast<volatile int*>(address) = 1;
}

#undef VELA_UNCHECKED

/// How many of this process's threads have the name of the rendering thread.
int rendererThreads();

/// Makes them stop where they are, until released; how many there were.
int parkRenderers();
void releaseRenderers();

} // namespace render_fault
