#pragma once

#include <QAudioDevice>
#include <QAudioFormat>
#include <QDebug>
#include <QString>

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

/// As a log line has it.
[[nodiscard]] inline QString printed(const QAudioFormat& format)
{
    QString text;
    QDebug(&text) << format;
    return text.trimmed();
}

/// What a node says of its device when that has gone.
[[nodiscard]] inline QString goneLine(const char* node, const QAudioDevice& device)
{
    return QStringLiteral("%1: device \"%2\" is no longer present on the host. Pausing rebuild; "
                          "will resume when the device reappears.")
        .arg(QLatin1String(node), device.description());
}

/// What it says when that is there again.
[[nodiscard]] inline QString backLine(const char* node, const QAudioDevice& device)
{
    return QStringLiteral("%1: device \"%2\" is back on the host — attempting rebuild")
        .arg(QLatin1String(node), device.description());
}
