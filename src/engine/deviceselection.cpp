#include "engine/deviceselection.h"

#include "media/devices/devicemanager.h"

#include <QList>

namespace device_selection {

QAudioDevice choose(QAudioDevice preferred, const QList<QAudioDevice>& listed,
                    const QAudioFormat& format)
{
    if (preferred.isNull() && !listed.isEmpty())
        preferred = listed.constFirst();
    if (!preferred.isNull() && preferred.isFormatSupported(format))
        return preferred;
    for (const QAudioDevice& device : listed) {
        if (device.isFormatSupported(format))
            return device;
    }
    return {};
}

QAudioDevice outputFor(const QAudioFormat& format)
{
    auto& manager = media::devices::DeviceManager::instance();
    manager.initializeAudio();
    return choose(manager.defaultAudioOutput(), manager.audioOutputs(), format);
}

QAudioDevice inputFor(const QAudioFormat& format)
{
    auto& manager = media::devices::DeviceManager::instance();
    manager.initializeAudio();
    return choose(manager.defaultAudioInput(), manager.audioInputs(), format);
}

} // namespace device_selection
