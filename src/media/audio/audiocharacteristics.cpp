#include "media/audio/audiocharacteristics.h"

#include "media/audio/audiosystem.h"

namespace media::audio {

AudioCharacteristics& AudioCharacteristics::instance()
{
    return AudioSystem::instance().characteristics();
}

bool AudioCharacteristics::isAssigned(AudioCharacteristic role) const
{
    return !m_assignments.value(role).deviceName.isEmpty();
}

RoleAssignment& AudioCharacteristics::assignment(AudioCharacteristic role)
{
    return m_assignments[role];
}

} // namespace media::audio
