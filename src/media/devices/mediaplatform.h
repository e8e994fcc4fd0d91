#pragma once

#include <QStringList>

/// Chooses how the toolkit's multimedia is to behave in this process. Call it
/// first in main(), before anything of the toolkit's multimedia is used: both
/// choices are environment variables that are read once. A value that the user
/// has set is left alone. Not thread-safe, as it changes the environment.
///
/// - The FFmpeg media backend, where its plugin is installed: it decodes every
///   kind of file that we promise. (Naming a backend that is not there would
///   end the process.)
/// - A latency of kPulseLatencyMs for sound streams: without a latency of its
///   own the PulseAudio sink never reaches the server's pre-buffering and stays
///   silent for ever.
void prepareMediaPlatform();

inline constexpr int kPulseLatencyMs = 120;

/// Whether the FFmpeg media backend's plugin lies in one of these plugin folders.
[[nodiscard]] bool hasFfmpegBackend(const QStringList& pluginFolders);
