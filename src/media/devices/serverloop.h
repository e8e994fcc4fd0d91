#pragma once

namespace media::devices {

/// Makes the end of the toolkit's connection to a sound server safe for the
/// threads that use it. Three faults of the toolkit are mended by functions of this
/// program that take the place of the client library's.
///
/// A write to a stream that has just died makes the toolkit keep the connection's
/// lock for good: all sound hangs from then on, and the process may abort at its
/// end. So such a write seems to succeed here, and what was written vanishes.
///
/// When the server dies, the toolkit tells its streams to close themselves, each
/// on its own thread, and frees the event loop of the server's client library at
/// once. A stream that is then at the loop's lock takes the process down, which
/// happened about once in a hundred deaths. So freeing a loop calls `wait` first,
/// which is to return when every stream's thread has done what was posted to it, or has
/// had time enough. The loop itself is kept for good, for threads that hang in it.
///
/// The toolkit ends its connection, at the end of the process at the latest, without
/// the loop's lock. When the loop's thread ends it as well, because the server goes at
/// that moment, both free the same, and the process aborts. So ending a connection
/// takes the lock here.
///
/// `wait` is called on the thread that drops the loop. Set once, before the first
/// stream is made. Any thread.
void waitBeforeServerLoopEnds(void (*wait)());

/// How many loops the toolkit has dropped since the process began. Each costs two
/// file handles and a few kilobytes. Any thread.
[[nodiscard]] int droppedServerLoops();

/// How many writes to dead streams have vanished since the process began. Any thread.
[[nodiscard]] int lostWrites();

} // namespace media::devices
