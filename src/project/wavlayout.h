#pragma once

#include <QAudioFormat>

#include <optional>

class QIODevice;

/// The format to ask the FFmpeg backend for so that it hands out a WAV file's
/// values as they are stored; nothing if it does so anyway, or if `file` is no
/// such WAV.
///
/// A WAV file need not say which loudspeaker its channels are for. The backend
/// then guesses twice, differently for four and for seven channels, and mixes
/// from one guess to the other. Asked for the first guess, it mixes nothing.
///
/// Reads a few bytes of `file`, which must be seekable, and goes back to its
/// start. Does not block on anything else and never fails on damaged data.
std::optional<QAudioFormat> unplacedWavFormat(QIODevice& file);
