#include "media/devices/mediaplatform.h"

#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QStringList>
#include <QtGlobal>

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

bool isFfmpegBackendInstalled()
{
    for (const QString& folder : pluginFolders()) {
        if (QFileInfo::exists(folder + "/multimedia/libffmpegmediaplugin.so"))
            return true;
    }
    return false;
}

} // namespace

void prepareMediaPlatform()
{
    if (!qEnvironmentVariableIsSet(kBackendVariable) && isFfmpegBackendInstalled())
        qputenv(kBackendVariable, "ffmpeg");
    if (!qEnvironmentVariableIsSet(kLatencyVariable))
        qputenv(kLatencyVariable, QByteArray::number(kPulseLatencyMs));
}
