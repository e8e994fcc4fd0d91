#pragma once

#include <QAudioDevice>
#include <QAudioFormat>
#include <QList>

/// Which device the engine opens: the platform's default (the first one listed
/// if the platform names none), or else the first that supports the format.
/// Null when none does. GUI thread; reads the device manager's lists.
namespace device_selection {

[[nodiscard]] QAudioDevice outputFor(const QAudioFormat& format);
[[nodiscard]] QAudioDevice inputFor(const QAudioFormat& format);

/// The rule itself, on any thread: `preferred` is the platform's default, null if it
/// names none, and `listed` are all devices in its order.
[[nodiscard]] QAudioDevice choose(QAudioDevice preferred, const QList<QAudioDevice>& listed,
                                  const QAudioFormat& format);

} // namespace device_selection
