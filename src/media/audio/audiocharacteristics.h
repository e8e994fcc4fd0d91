#pragma once

#include <QMap>
#include <QObject>
#include <QString>

namespace media::audio {

/// What a device is used for. One byte; streams as that byte.
enum class AudioCharacteristic : quint8 {
    AudioOutputRole = 0,
    AudioInputRole = 1,
};

/// Which device plays a role.
struct RoleAssignment {
    AudioCharacteristic role = AudioCharacteristic::AudioOutputRole;
    QString deviceId;
    QString deviceName;
    bool valid = false;
};

/// The assignments of devices to roles. One per process, made together with
/// AudioSystem; changed and read on the main thread only.
class AudioCharacteristics : public QObject {
    Q_OBJECT

public:
    static AudioCharacteristics& instance();

    Q_DISABLE_COPY_MOVE(AudioCharacteristics)

    /// A record with a device's name is there for the role.
    [[nodiscard]] bool isAssigned(AudioCharacteristic role) const;

    /// The role's record, made empty and not valid where there was none. Valid
    /// until the next role is added. Whoever fills it emits assignmentChanged.
    RoleAssignment& assignment(AudioCharacteristic role);

signals:
    void assignmentChanged(media::audio::AudioCharacteristic role);

private:
    friend class AudioSystem;
    AudioCharacteristics() = default;
    ~AudioCharacteristics() override = default;

    QMap<AudioCharacteristic, RoleAssignment> m_assignments;
};

} // namespace media::audio
