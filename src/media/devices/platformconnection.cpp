#include "media/devices/platformconnection.h"

#include <QDebug>

#include <utility>

namespace media::devices {

PlatformConnection::PlatformConnection(std::function<void()> ask, Await await)
    : m_ask(std::move(ask))
    , m_await(std::move(await))
{
    m_thread.setObjectName(QStringLiteral("audio-devices"));
    m_onThread.moveToThread(&m_thread);
    connect(&m_thread, &QThread::started, &m_onThread, [this] { askAndAnnounce(); });
}

PlatformConnection::~PlatformConnection()
{
    m_thread.requestInterruption();
    m_thread.quit();
    m_thread.wait();
    // Seen by race detectors, which do not see the toolkit's own wait: the thread
    // left this object when it let go of the lock.
    const std::lock_guard lock(m_lock);
}

bool PlatformConnection::open(std::chrono::milliseconds bound)
{
    if (m_asked)
        return isOpen();
    m_asked = true;
    m_thread.start();
    std::unique_lock lock(m_lock);
    if (!m_answered.wait_for(lock, bound, [this] { return isOpen(); })) {
        qWarning("PlatformConnection: the sound server does not answer; going on without devices "
                 "until it does");
    }
    return isOpen();
}

void PlatformConnection::askAndAnnounce()
{
    if (m_await && !m_await([this] { return m_thread.isInterruptionRequested(); }))
        return;
    m_ask();
    const std::lock_guard lock(m_lock);
    m_open = true;
    m_answered.notify_all();
    // Queued, or it would reach direct connections on the wrong thread.
    QMetaObject::invokeMethod(this, "opened", Qt::QueuedConnection);
}

bool PlatformConnection::close(std::chrono::milliseconds bound)
{
    m_thread.requestInterruption();
    m_thread.quit();
    return m_thread.wait(static_cast<unsigned long>(bound.count()));
}

} // namespace media::devices
