#pragma once

/// Whether the toolkit's decoding threads all wait to be woken, those apart that
/// sleep in a fault. A decoder with such threads can be stopped: they are not in the
/// middle of anything that might not end. False if there is none, and where the
/// system does not tell.
///
/// Any thread. Reads some small files of the system for each thread; never blocks
/// for long.
[[nodiscard]] bool decoderThreadsAreWaiting();
