#pragma once

#include "media/audio/audioformats.h"
#include "media/audio/audiooutputnode.h"
#include "media/devices/devicemanager.h"

#include <QTest>

/// A process's first question about devices and its first stream wait for the sound server
/// and for the toolkit to start, on a busy machine longer than the window would. A suite
/// about what comes later has both behind it with this, called before it catches the log.
/// Needs an event loop and a loudspeaker; false if that gives no stream within 40 s.
[[nodiscard]] inline bool isAudioWarm()
{
    constexpr int kPatienceMs = 20000;
    media::devices::DeviceManager& manager = media::devices::DeviceManager::instance();
    if (!QTest::qWaitFor([&] { return !manager.defaultAudioOutput().isNull(); }, kPatienceMs))
        return false;
    media::audio::AudioOutputNode node;
    node.configure(manager.defaultAudioOutput(), stereo(), 8192);
    const bool isStarted = QTest::qWaitFor([&] { return node.start(); }, kPatienceMs);
    node.stop();
    return isStarted;
}
