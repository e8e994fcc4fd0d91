#pragma once

/// Makes the system calls a save depends on fail, stop short or end the
/// process. Linked into the saver program, whose own calls it then stands in for.
namespace fault_injection {

enum class Fault {
    None,
    Error,      ///< the call does nothing and reports `errorNumber`
    KillBefore, ///< the process dies instead of the call
    KillAfter,  ///< the process dies after the call
    Stall,      ///< the call never comes back
    ShortWrite, ///< a write takes half of what it is given; other calls work
};

/// The `callNumber`-th watched call from now on, counted from 1, is struck.
/// Watched: the creation of a file, pwrite, fsync, fchmod, fchown and rename.
void strike(int callNumber, Fault fault, int errorNumber);

/// How many watched calls there have been since.
int callCount();

/// Whether a call is stalled. Any thread.
bool isStalled();

} // namespace fault_injection
