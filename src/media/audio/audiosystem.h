#pragma once

#include "media/audio/audiocharacteristics.h"

#include <QAudioDevice>
#include <QList>
#include <QObject>

namespace media::audio {

/// The process-wide word on which device plays which role, and on changes of the
/// devices. Informative: whoever opens a device chooses it for itself.
///
/// Fresh → (initialize) Initialized, once and for ever: devices that come or go
/// later are announced, but roles stay as they were first assigned.
///
/// Main thread; listeners on other threads get the signals queued.
class AudioSystem : public QObject {
    Q_OBJECT

public:
    /// Any thread; to be created on the main thread.
    static AudioSystem& instance();

    Q_DISABLE_COPY_MOVE(AudioSystem)

    /// Asks the device manager for its lists, gives each unassigned role the first
    /// device of its list and follows the manager from then on. Blocks as long as
    /// the manager's first filling does; nothing when called again.
    void initialize();

    [[nodiscard]] bool isInitialized() const { return m_initialized; }

    AudioCharacteristics& characteristics() { return m_characteristics; }

signals:
    void devicesChanged();
    void assignmentChanged(media::audio::AudioCharacteristic role);
    void initialized();

private:
    AudioSystem();
    ~AudioSystem() override = default;

    void assignFirst(AudioCharacteristic role, const QList<QAudioDevice>& devices);

    AudioCharacteristics m_characteristics;
    bool m_initialized = false;
};

} // namespace media::audio
