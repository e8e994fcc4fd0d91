#pragma once

#include <QAudioFormat>

/// What the devices of these tests run at, unless a test says otherwise.
inline constexpr int kRateHz = 44100;

[[nodiscard]] inline QAudioFormat floatFormat(int channels, int rateHz = kRateHz)
{
    QAudioFormat format;
    format.setSampleFormat(QAudioFormat::Float);
    format.setSampleRate(rateHz);
    format.setChannelCount(channels);
    return format;
}

[[nodiscard]] inline QAudioFormat mono()
{
    return floatFormat(1);
}

[[nodiscard]] inline QAudioFormat stereo()
{
    return floatFormat(2);
}
