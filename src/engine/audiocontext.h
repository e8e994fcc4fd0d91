#pragma once

#include <QtGlobal>

/// The block of audio that the engine hands to a device node.
///
/// `samples` is planar: channel c's frame i stands at index c × frames + i.
/// Borrowed: valid only for the duration of the call it is passed to.
class AudioContext {
public:
    AudioContext() = default;

    AudioContext(quint64 frameCount, quint64 channelCount, const double* planar)
        : frames(frameCount)
        , channels(channelCount)
        , samples(planar)
    {
    }

    AudioContext(const AudioContext&) = default;
    AudioContext& operator=(const AudioContext&) = default;
    virtual ~AudioContext() = default;

    quint64 frames = 0;
    quint64 channels = 1;
    const double* samples = nullptr;
};
