#pragma once

#include <QtGlobal>

/// Keeps one known fault of the toolkit's decoder from ending the process, and
/// with it everything that the user has not saved.
///
/// Where a damaged (or unusual) stream loses a channel midway, the FFmpeg
/// backend's audio renderer goes on as if it were there and reads through a null
/// pointer on a thread of its own. While a guard lives, exactly that, a read near
/// null on exactly that thread, puts the thread to sleep for ever and makes
/// `hasCaught()` true. Every other fault takes its usual course.
///
/// After a catch the decoder, its thread and whatever it reads from must never be
/// touched or destroyed: they are to be abandoned. Nothing else is affected, as
/// the thread was only reading.
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
