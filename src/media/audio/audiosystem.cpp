#include "media/audio/audiosystem.h"

#include "media/devices/devicemanager.h"

#include <QDebug>
#include <QMetaType>

namespace media::audio {

using devices::DeviceManager;

AudioSystem& AudioSystem::instance()
{
    static AudioSystem system;
    return system;
}

AudioSystem::AudioSystem()
{
    qRegisterMetaType<AudioCharacteristic>();
    connect(&m_characteristics, &AudioCharacteristics::assignmentChanged, this,
            &AudioSystem::assignmentChanged);
}

void AudioSystem::initialize()
{
    if (m_initialized)
        return;
    DeviceManager& manager = DeviceManager::instance();
    const QList<QAudioDevice> outputs = manager.audioOutputs();
    const QList<QAudioDevice> inputs = manager.audioInputs();
    assignFirst(AudioCharacteristic::AudioOutputRole, outputs);
    assignFirst(AudioCharacteristic::AudioInputRole, inputs);
    connect(&manager, &DeviceManager::audioOutputsChanged, this, &AudioSystem::devicesChanged);
    connect(&manager, &DeviceManager::audioInputsChanged, this, &AudioSystem::devicesChanged);
    m_initialized = true;
    qDebug() << "AudioSystem initialized with" << outputs.size() << "outputs," << inputs.size()
             << "inputs";
    emit initialized();
}

void AudioSystem::assignFirst(AudioCharacteristic role, const QList<QAudioDevice>& devices)
{
    if (m_characteristics.isAssigned(role) || devices.isEmpty())
        return;
    m_characteristics.assignment(role) = {role, QString(), devices.first().description(), true};
    emit m_characteristics.assignmentChanged(role);
}

} // namespace media::audio
