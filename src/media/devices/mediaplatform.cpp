#include "media/devices/mediaplatform.h"

#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QtGlobal>

#include <algorithm>

namespace {

constexpr auto kBackendVariable = "QT_MEDIA_BACKEND";
constexpr auto kLatencyVariable = "PULSE_LATENCY_MSEC";

/// Where the toolkit will look; asked of the environment and not of the
/// application object, which need not exist yet.
QStringList pluginFolders()
{
    QStringList folders =
        qEnvironmentVariable("QT_PLUGIN_PATH").split(QDir::listSeparator(), Qt::SkipEmptyParts);
    folders.append(QLibraryInfo::path(QLibraryInfo::PluginsPath));
    return folders;
}

} // namespace

bool hasFfmpegBackend(const QStringList& pluginFolders)
{
    return std::any_of(pluginFolders.begin(), pluginFolders.end(), [](const QString& folder) {
        return QFileInfo::exists(folder + "/multimedia/libffmpegmediaplugin.so");
    });
}

void prepareMediaPlatform()
{
    if (!qEnvironmentVariableIsSet(kBackendVariable) && hasFfmpegBackend(pluginFolders()))
        qputenv(kBackendVariable, "ffmpeg");
    if (!qEnvironmentVariableIsSet(kLatencyVariable))
        qputenv(kLatencyVariable, QByteArray::number(kPulseLatencyMs));
}
