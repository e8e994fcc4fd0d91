#pragma once

#include <QAudioDevice>
#include <QAudioFormat>

/// Which device the engine opens: the platform's default (the first one listed
/// if the platform names none), or else the first that supports the format.
/// Null when none does. GUI thread; reads the device manager's lists.
namespace device_selection {

[[nodiscard]] QAudioDevice outputFor(const QAudioFormat& format);
[[nodiscard]] QAudioDevice inputFor(const QAudioFormat& format);

} // namespace device_selection
