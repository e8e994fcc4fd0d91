#include "settings/settings.h"

#include "lifecycle/pointercheck.h"
#include "lifecycle/shutdownlifecycle.h"
#include "settings/abandonedlock.h"
#include "settings/identity.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>
#include <new>
#include <utility>

namespace {

/// The toolkit writes a changed store on the next turn of the event loop. Ours
/// decides itself when, so that request goes nowhere.
class OwnPaceFilter : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        return event->type() == QEvent::UpdateRequest;
    }
};

QSettings* openSettings(const QString& path)
{
    return path.isEmpty() ? new (std::nothrow) QSettings
                          : new (std::nothrow) QSettings(path, QSettings::IniFormat);
}

bool connectToSync(QTimer* timer, Settings* settings)
{
    return static_cast<bool>(
        QObject::connect(timer, &QTimer::timeout, settings, &Settings::delayedSync));
}

Settings::Environment completed(Settings::Environment environment)
{
    if (!environment.clock)
        environment.clock = &QDateTime::currentMSecsSinceEpoch;
    if (!environment.open)
        environment.open = &openSettings;
    if (!environment.connectTimer)
        environment.connectTimer = &connectToSync;
    return environment;
}

QString pathFor(const QString& fileName)
{
    if (fileName.isEmpty())
        return {};
    const QString location = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    return QDir(location).filePath(fileName);
}

} // namespace

void Settings::DeleteLater::operator()(QSettings* settings) const
{
    settings->deleteLater();
}

Settings::Settings(const QString& organisationName, const QString& applicationName,
                   const QString& applicationVersion, const QString& fileName,
                   Environment environment, QObject* parent)
    : QObject(parent)
    , m_name(fileName.trimmed())
    , m_environment(completed(std::move(environment)))
    , m_syncTimer(this)
{
    checkPointers(this, parent ? static_cast<const void*>(parent) : this);
    // A coordinator that exists before us outlives us, even where we are static.
    ShutdownLifecycle::instance();
    m_syncTimer.setSingleShot(true);
    m_syncTimer.setTimerType(Qt::PreciseTimer);
    applyIdentity(organisationName, applicationName, applicationVersion);
    openStore();
}

Settings::~Settings()
{
    m_syncTimer.stop();
    if (m_settings) {
        if (m_dirty)
            writeToDisk();
        if (!m_settings->group().isEmpty())
            m_settings->endGroup();
    }
    m_dirty = false;
    endFlushTask();
}

void Settings::applyIdentity(const QString& organisationName, const QString& applicationName,
                             const QString& applicationVersion)
{
    if (!organisationName.isEmpty())
        QCoreApplication::setOrganizationName(organisationName);
    if (QCoreApplication::organizationDomain().isEmpty())
        QCoreApplication::setOrganizationDomain(QString::fromUtf16(kOrganisationDomain));
    if (!applicationName.isEmpty())
        QCoreApplication::setApplicationName(applicationName);
    if (!applicationVersion.isEmpty())
        QCoreApplication::setApplicationVersion(applicationVersion);
    QGuiApplication::setDesktopFileName(desktopEntryName(QCoreApplication::organizationDomain(),
                                                         QCoreApplication::applicationName()));
}

void Settings::openStore()
{
    m_settings.reset(m_environment.open(pathFor(m_name)));
    if (!m_settings) {
        qWarning() << "ERROR: Could not create Settings for" << m_name;
        return;
    }
    m_settings->installEventFilter(new OwnPaceFilter(m_settings.get()));
    if (!m_environment.connectTimer(&m_syncTimer, this)) {
        qWarning() << "ERROR: Could not connect settings sync timer";
        m_settings.reset();
    }
}

QString Settings::filePath() const
{
    return m_settings ? m_settings->fileName() : QString();
}

QVariant Settings::value(const QString& key, const QVariant& fallback) const
{
    return m_settings ? m_settings->value(key, fallback) : fallback;
}

void Settings::setCustomValue(const QString& key, const QVariant& value)
{
    const QString trimmedKey = key.trimmed();
    if (trimmedKey.isEmpty()) {
        qWarning() << "ERROR: Key was empty";
        return;
    }
    if (!m_settings)
        return;
    m_settings->setValue(trimmedKey, value);
    m_dirty = true;
    requestSync();
    emit customSettingChanged(trimmedKey);
}

void Settings::requestSync()
{
    const qint64 intervalMs = kWriteInterval.count();
    const qint64 nowMs = m_environment.clock();
    // A clock that was set back must not put the write off beyond the interval,
    // nor each further change put it off again.
    m_lastSyncMs = std::min(m_lastSyncMs, nowMs);
    const qint64 elapsedMs = nowMs - m_lastSyncMs;
    if (elapsedMs > intervalMs) {
        delayedSync();
        return;
    }
    beginFlushTask();
    m_syncTimer.start(std::chrono::milliseconds(intervalMs - elapsedMs));
}

void Settings::delayedSync()
{
    m_syncTimer.stop();
    if (!m_settings)
        return;
    writeToDisk();
    m_lastSyncMs = m_environment.clock();
    m_dirty = false;
    endFlushTask();
}

void Settings::flush()
{
    if (m_dirty || m_syncTimer.isActive())
        delayedSync();
}

void Settings::writeToDisk()
{
    // The toolkit cannot lock a file in a folder that is not there.
    QDir().mkpath(QFileInfo(m_settings->fileName()).absolutePath());
    removeAbandonedLock(m_settings->fileName());
    m_settings->sync();
    if (m_settings->status() == QSettings::AccessError && !m_warnedOfWriteFailure) {
        m_warnedOfWriteFailure = true;
        qWarning() << "Settings: could not write" << m_settings->fileName();
    }
}

void Settings::beginFlushTask()
{
    if (!m_taskId.isEmpty())
        return;
    m_taskId =
        QStringLiteral("settings.flush.") + (m_name.isEmpty() ? QStringLiteral("default") : m_name);
    ShutdownTask task;
    task.id = m_taskId;
    task.title = QStringLiteral("Settings");
    task.description = QStringLiteral("Flushing");
    task.detail = QFileInfo(m_settings->fileName()).fileName();
    task.run = [this] { flush(); };
    m_taskSerial = ShutdownLifecycle::instance().registerTask(std::move(task));
}

void Settings::endFlushTask()
{
    if (m_taskId.isEmpty())
        return;
    ShutdownLifecycle::instance().finishTask(std::exchange(m_taskId, {}), m_taskSerial);
}
