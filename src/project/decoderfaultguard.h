#pragma once

#include <QtGlobal>

/// Keeps known faults of the toolkit's decoder from ending the process, and with it
/// everything that the user has not saved.
///
/// Where a damaged (or unusual) stream loses a channel midway, the FFmpeg backend's
/// audio renderer goes on as if it were there and reads through a null pointer on a
/// thread of its own. Where a stream has more channels than can be converted, it
/// starts the converter that it did not get, and writes through one. While a guard
/// lives, exactly that, an access near null on exactly that thread, puts the thread
/// to sleep for ever and makes `hasCaught()` true. Every other fault takes its usual
/// course.
///
/// After a catch the decoder, its thread and whatever it reads from must never be
/// touched or destroyed: they are to be abandoned. Nothing else is affected, as
/// nothing is kept there that could have been changed.
///
/// GUI thread. Guards may nest; all that live during a catch report it.
class DecoderFaultGuard {
public:
    DecoderFaultGuard();
    ~DecoderFaultGuard();
    Q_DISABLE_COPY_MOVE(DecoderFaultGuard)

    /// True once a decoder's thread has been put to sleep in this guard's life.
    [[nodiscard]] bool hasCaught() const;

private:
    int m_caughtBefore;
};
