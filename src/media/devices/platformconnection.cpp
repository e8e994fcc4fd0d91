#include "media/devices/platformconnection.h"

#include <QDebug>

#include <utility>

namespace media::devices {

PlatformConnection::PlatformConnection(std::function<void()> ask)
    : m_ask(std::move(ask))
{
    m_thread.setObjectName(QStringLiteral("audio-devices"));
    m_onThread.moveToThread(&m_thread);
}

PlatformConnection::~PlatformConnection()
{
    m_thread.quit();
    m_thread.wait();
}

bool PlatformConnection::open(std::chrono::milliseconds bound)
{
    if (m_asked)
        return isOpen();
    m_asked = true;
    m_thread.start();
    QMetaObject::invokeMethod(&m_onThread, [this] {
        m_ask();
        m_open = true;
        m_answered.release();
        // From here it would reach direct connections on the wrong thread.
        QMetaObject::invokeMethod(this, &PlatformConnection::opened, Qt::QueuedConnection);
    });
    if (!m_answered.tryAcquire(1, static_cast<int>(bound.count()))) {
        qWarning("PlatformConnection: the sound server does not answer; going on without devices "
                 "until it does");
    }
    return isOpen();
}

bool PlatformConnection::close(std::chrono::milliseconds bound)
{
    m_thread.quit();
    return m_thread.wait(static_cast<unsigned long>(bound.count()));
}

} // namespace media::devices
